// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

namespace vorn {

// A face found in a camera picture.
struct Face {
  Rect rect;        // unit rectangle, origin at the bottom left
  double time = 0;  // media time of the detection
  bool operator==(const Face&) const = default;
};

}  // namespace vorn
