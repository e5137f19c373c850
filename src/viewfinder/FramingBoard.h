// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/ScreenBackend.h"

#include <QImage>
#include <QWidget>

#include <optional>

namespace vorn {

class Engine;
class Studio;

// Where windows cannot place themselves over the screen (Wayland), the frame is placed inside
// Vorn's own window instead: a picture of the shared screen, refreshed each second, with the
// capture frame on it, moved and resized like the on-screen frame (the engine's own moves, so
// the same snapping), in the screen's coordinates; with the keyboard in it, the arrow keys move
// the frame. Out of the way while a take records.
class FramingBoard final : public QWidget {
  Q_OBJECT

 public:
  FramingBoard(Studio& studio, QWidget* parent);
  void attach(Engine& engine);

  // Shows the board (and its window) for a session on `screen`; dismiss() hides both.
  void open(const DisplayInfo& screen);
  void dismiss();
  // Every tick, with the media time: steps aside during a take, follows the frame.
  void tick(double now);

  // Where the screen's picture is drawn, in this widget.
  QRectF pictureRect() const;
  // A point of the board in the screen's points, and back.
  Point toScreen(QPointF at) const;
  QRectF toBoard(const Rect& r) const;

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  struct Drag {
    bool resize = false;
    Rect home;       // move: the frame at the start
    Point grabbed;   // move: where it was grabbed, screen points
    Point anchor;    // resize: the corner that stays
  };
  void refreshStill(double now);
  bool shouldShow() const;

  Studio& studio_;
  Engine* engine_ = nullptr;
  std::optional<DisplayInfo> screen_;
  QImage still_;
  double stillAt_ = -1;
  bool stillPending_ = false;  // a picture is being taken
  Rect drawn_;  // the frame as last painted
  std::optional<Drag> drag_;
};

}  // namespace vorn
