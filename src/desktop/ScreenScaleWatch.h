// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

class QScreen;

namespace vorn {

// Keeps the pixel-to-point table of the capture side in step with the toolkit's screens while
// it lives, so clicks, pointer positions, window frames and grabs agree with where Qt places
// windows at any scaling. GUI thread.
class ScreenScaleWatch : public QObject {
 public:
  ScreenScaleWatch();
  // Publishes the screens as they are now, once.
  static void publish();

 private:
  void watch(QScreen* screen);
};

}  // namespace vorn
