// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Model.h"

#include <optional>

namespace vorn {

// Where a platform's own interface covers the 1080 × 1920 video, in output pixels from each
// edge: captions and buttons belong inside these margins, what matters outside them.
struct PlatformInsets {
  double top = 0;
  double bottom = 0;
  double right = 150;  // the column of buttons
};

constexpr std::optional<PlatformInsets> platformInsets(Platform platform) {
  switch (platform) {
    case Platform::reels: return PlatformInsets{220, 420};
    case Platform::tiktok: return PlatformInsets{130, 330};
    case Platform::shorts: return PlatformInsets{170, 390};
    case Platform::none: break;
  }
  return std::nullopt;
}

}  // namespace vorn
