// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "capture/Face.h"
#include "model/Geometry.h"

#include <optional>

namespace vorn {

// Face framing: which part of the camera image the camera card shows (a unit rectangle,
// origin top-left). Render thread only.
class CropMotion {
 public:
  // Moves `crop` by one tick for a camera image of widthPixels × heightPixels.
  void step(double dt, double now, const Slots& slots, int widthPixels, int heightPixels,
            const std::optional<Face>& face);

  const Rect& crop() const { return crop_; }

  // A face seen longer ago than this no longer steers the crop.
  static constexpr double faceMaxAge = 1.5;
  static constexpr double glideRate = 3.2;

  // Where the crop should go for a card of aspect `aspect` (width ÷ height).
  static Rect target(double aspect, double faceFraction, double w, double h,
                     const std::optional<Rect>& face);

 private:
  Rect crop_{0, 0, 1, 1};
  Rect goal_{0, 0, 1, 1};  // the goal in use; face finding's small wobble leaves it alone
};

}  // namespace vorn
