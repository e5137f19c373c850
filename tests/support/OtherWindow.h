// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QRect>

#include <xcb/xcb.h>

namespace vorn::test {

// A window of another application, for tests of what Vorn records and what it lets through:
// a plain X window on its own connection, filled by the server in one colour, without a
// title bar, and counting the presses that reach it. (A Qt window of the test itself would be
// one of Vorn's own, which the capture leaves out.)
class OtherWindow {
 public:
  OtherWindow(QRect where, QColor colour);
  OtherWindow(const OtherWindow&) = delete;
  OtherWindow& operator=(const OtherWindow&) = delete;
  ~OtherWindow();

  xcb_window_t id() const { return window_; }
  // Repaints the window in `colour`.
  void paint(QColor colour);
  // The presses that reached it so far.
  int presses();
  // Waits until the server has done everything asked of it so far.
  void sync();

 private:
  xcb_connection_t* connection_;
  xcb_window_t window_ = 0;
  int presses_ = 0;
};

}  // namespace vorn::test
