// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <Qt>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vorn {

// What the engine asks of the desktop: keys and clicks anywhere, the pointer, the other
// windows. Each may be left empty (no such service here); the engine then does without.
struct DesktopServices {
  // Holds a system-wide key while the returned handle lives; null when it can't be had.
  std::function<std::shared_ptr<void>(int qtKey, Qt::KeyboardModifiers, std::function<void()>)> grabKey;
  // Reports left-button presses anywhere (global points) while the handle lives.
  std::function<std::shared_ptr<void>(std::function<void(Point)>)> watchClicks;
  // The pointer's global position.
  std::function<std::optional<Point>()> pointer;
  // Other applications' window frames, global points, front to back.
  std::function<std::vector<Rect>()> otherWindows;
};

}  // namespace vorn
