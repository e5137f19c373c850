// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <functional>
#include <memory>

namespace vorn {

class X11Desktop;

// Left-button presses anywhere on the desktop, whichever application gets them, as XInput 2
// raw events on the root window: every press is seen, however short.
class ClickMonitor {
 public:
  // Reports each press at the pointer's position (global points) while the handle lives; null
  // when the server has no XInput 2.
  static std::shared_ptr<void> watch(X11Desktop& desktop, std::function<void(Point)> onPress);
};

}  // namespace vorn
