// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "viewfinder/FrameState.h"
#include "viewfinder/FrameZones.h"

#include <QPointer>
#include <QWidget>

#include <optional>

namespace vorn {

class Engine;
class Studio;

// The capture frame on the screen: its brackets, grip, chip and buttons, the guides and the
// countdown. Turns gestures on the frame into the engine's placement calls; it places
// nothing itself.
class FrameView : public QWidget {
  Q_OBJECT

 public:
  FrameView(Engine& engine, Studio& studio, QWidget* parent);

  // Repaints only when the state changed; true when it did.
  bool setState(const FrameState& state);
  const FrameState& state() const { return state_; }
  void setRegion(QSizeF size, ChipPlace chipPlace);
  const FrameZones& zones() const { return zones_; }
  // Sets the cursor for a point in this view.
  void updateCursor(QPointF at);
  bool gestureUnderway() const { return drag_.has_value(); }
  // The chip's width, measured once over every text it may show.
  static double chipWidth();
  int paints() const { return paints_; }

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  struct Drag {
    bool resize = false;
    Rect home;           // move: home at the start
    QPointF anchor;      // resize: the corner that stays
    QPointF corner;      // resize: the grabbed corner at the start
  };
  void press(QPointF at, QPointF global);
  void paintGuides(QPainter& p, const QRectF& r, const QColor& base);
  void paintBrackets(QPainter& p, const QRectF& r, const QColor& base);
  void paintRail(QPainter& p, const QRectF& r);
  void paintGrip(QPainter& p, const QRectF& r);
  void paintChip(QPainter& p, const QRectF& r);
  void paintCountdown(QPainter& p, const QRectF& r);

  Engine& engine_;
  Studio& studio_;
  FrameState state_;
  FrameZones zones_;
  std::optional<Drag> drag_;
  QPointF startMouse_;
  int paints_ = 0;
};

}  // namespace vorn
