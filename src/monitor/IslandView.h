// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Model.h"
#include "monitor/Prompter.h"

#include <QWidget>

#include <array>

class QToolButton;

namespace vorn {

class Engine;
class Studio;

// What the island shows, compared whole so that a tick with nothing new paints nothing.
struct IslandLook {
  QString status;
  bool narrow = false;
  bool micOff = false;          // recording without a microphone: the crossed-out symbol
  bool barsActive = false;
  std::array<int, 5> bars{};    // bar heights in tenths of a point
  bool controls = false;
  bool paused = false;
  bool prompter = false;
  bool operator==(const IslandLook&) const = default;
};

// The five bars of the microphone level: heights in points for `level` (0…1).
std::array<double, 5> levelBarHeights(double level, bool active);

// The island's content, 640 × 320 points hung from the top centre of the screen: the status
// pill with the microphone's level, the take's controls, and the teleprompter below.
class IslandView : public QWidget {
  Q_OBJECT

 public:
  static constexpr QSize size{640, 320};

  IslandView(Studio& studio, QWidget* parent);
  void attach(Engine& engine) { engine_ = &engine; }

  // Recomputes the look (and the script's offset) for media time `now`; repaints only what
  // changed. Returns whether anything was repainted.
  bool tick(double now);
  IslandLook lookAt(double now) const;
  double prompterOffset(double now) const;
  // The parts that are drawn (and take the mouse): the rest of the panel is see-through.
  QRegion drawnRegion() const;
  long paints() const { return paints_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QRectF pillRect() const;
  QRectF prompterRect() const;
  void paintPill(QPainter& p);
  void placeControls();

  Studio& studio_;
  Engine* engine_ = nullptr;
  IslandLook look_;
  double offset_ = -1;
  double nudge_ = 0;
  double now_ = 0;
  Prompter prompter_;
  QToolButton *restart_, *pause_, *stop_, *up_, *down_;
  long paints_ = 0;
};

}  // namespace vorn
