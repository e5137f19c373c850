// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "monitor/LayoutHandles.h"
#include "monitor/TakePlayer.h"

#include <QWidget>

#include <functional>
#include <optional>

class QMenu;

namespace vorn {

class Studio;
class PhoneCard;

// The phone: its body, and on its 288 × 512 screen, back to front, the composed frame, the
// platform's interface, the island, the status of the take, the handles that rearrange the
// layout, a card when one is due, and the toast. Dragging the phone off the handles moves the
// window; a handle with the keyboard moves by the arrow keys. Drawn in those points, at a scale
// where the screen is too short for it. GUI thread only.
class PhoneView : public QWidget {
  Q_OBJECT

 public:
  static constexpr int bezel = 6;
  static constexpr QSize screenSize{288, 512};
  static constexpr QSize bodySize{288 + 2 * bezel, 512 + 2 * bezel};

  explicit PhoneView(Studio& studio, QWidget* parent);

  // Draws the phone `scale` times its size (1: 300 × 524 points).
  void setScale(double scale);
  double scale() const { return scale_; }

  // The newest composed frame; kept (not copied) as long as it is shown.
  void showFrame(const ConstFrameRef& frame);
  const ConstFrameRef& frame() const { return frame_; }
  // In review the take plays in the phone, with its sound, over and over.
  const TakePlayer& player() const { return player_; }
  TakePlayer& player() { return player_; }
  // What plays in review: the file `source` names (the take, or its reel); the take without it.
  void setReviewSource(std::function<QString()> source) { reviewSource_ = std::move(source); }
  // Plays what review calls for now, or stops playing outside review.
  void followReview();
  // The phone's own menu (the face finish of the reels); the phone does not own it.
  void setMenu(QMenu* menu) { menu_ = menu; }
  void stopPlaying() { player_.stop(); }
  // Paints of the screen since creation: the benchmark and tests count them.
  long paints() const { return paints_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  enum class Grab { none, bubble, divider, window };
  QRectF screenRect() const;
  // `r`, in the phone's points, where it lies on the widget.
  QRect shown(const QRectF& r) const;
  void placeCard();
  LayoutHandles::Places places() const;
  Grab grabAt(QPointF at) const;
  // The handle the arrow keys move (none: they go on to the window).
  void select(Grab handle);
  void paintBody(QPainter& p);
  void paintScreen(QPainter& p);
  void paintStatus(QPainter& p, const QRectF& screen);
  void paintHandles(QPainter& p, const LayoutHandles::Places& places);
  void updateCard();
  void dragOffTheHandles();
  void shareByDrag();
  // What the screen shows now: the take under review, or the live preview.
  const ConstFrameRef& picture() const;

  Studio& studio_;
  ConstFrameRef frame_;
  ConstFrameRef reviewFrame_;
  PhoneCard* card_ = nullptr;
  QMenu* menu_ = nullptr;
  std::function<QString()> reviewSource_;
  double scale_ = 1;
  Grab grab_ = Grab::none;
  Grab hover_ = Grab::none;
  Grab selected_ = Grab::none;
  QPointF pressAt_;  // on the widget
  QPointF bubbleStart_;
  LayoutFields fieldsAtPress_;
  long paints_ = 0;
  TakePlayer player_;  // last: its thread stops before the rest goes
};

}  // namespace vorn
