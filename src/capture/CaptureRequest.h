// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

namespace vorn {

// A capture area asked of the screen source, in display points, and whether it is captured
// at native resolution.
struct CaptureRequest {
  Rect rect;
  bool native = false;
  bool operator==(const CaptureRequest&) const = default;
};

}  // namespace vorn
