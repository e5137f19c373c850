// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <memory>
#include <optional>
#include <string>

namespace vorn {

// Where the pointer is (global points, origin top-left) and whether its primary button is
// down. A small interface so that tests can script the pointer.
struct PointerState {
  Point position;
  bool pressed = false;
  // Over one of Vorn's own windows (where that window takes the pointer).
  bool overOwnWindow = false;
};

class Pointer {
 public:
  virtual ~Pointer() = default;
  // Nothing when the position is unavailable.
  virtual std::optional<PointerState> query() = 0;
};

}  // namespace vorn
