// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/StudioWindows.h"

#include <QPropertyAnimation>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <optional>

class QPushButton;

namespace vorn {

class CompactBar;
class Engine;
class PhoneView;
class ReviewBar;
class Studio;

// The phone-shaped monitor: a floating window with its own title bar and window buttons, the
// phone showing exactly what viewers will see, and the record button; or, compact, a small bar.
// It is the studio's one window that takes the keyboard: the studio's shortcuts arrive here.
// GUI thread only.
class MonitorWindow : public QWidget, public MonitorPanel {
  Q_OBJECT

 public:
  explicit MonitorWindow(Studio& studio);
  ~MonitorWindow() override;
  // Wires the buttons and keys to `engine` and keeps the window out of its takes; until then
  // the buttons and keys do nothing.
  void attach(Engine& engine);

  void show(const DisplayInfo& screen, const Rect& avoid) override;
  void hide() override;
  void showFrame(const ConstFrameRef& frame) override;
  void changeForm(bool compact, const DisplayInfo& screen) override;
  int previewWidth() const override;
  std::optional<Rect> shownAt() const override;
  void bringToFront() override;

  // Puts the control deck under the phone, in the record button's place (outside review).
  void setDeck(QWidget* deck);

  PhoneView* phone() const { return phone_; }
  CompactBar* compactBar() const { return compactBar_; }
  ReviewBar* reviewBar() const { return reviewBar_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  void showForm(bool compact);
  // Lays out the full form for the window's size.
  void arrange();
  double cornerRadius() const;
  void fadeTo(double opacity, double seconds, std::function<void()> then = {});
  void phaseChanged();
  void keepOffFrame();
  void keepAbove(bool above);

  Studio& studio_;
  Engine* engine_ = nullptr;
  QWidget* full_;
  PhoneView* phone_;
  QPushButton* recordButton_;
  QWidget* underPhone_;  // outside review: the record button, or the deck once it is set
  ReviewBar* reviewBar_;
  CompactBar* compactBar_;
  std::optional<QRect> placed_;
  std::optional<QPointF> pressedAt_;  // the left button is down on the window's background
  QPropertyAnimation fade_;
  QMetaObject::Connection fadeDone_;
  QTimer clock_;  // refreshes the elapsed time while recording
};

}  // namespace vorn
