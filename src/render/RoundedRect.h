// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <algorithm>
#include <cmath>

namespace vorn {

// Signed distance from a point to the outline of a rectangle with rounded corners: negative
// inside, positive outside, in the units of the rectangle. The radius is limited to half the
// shorter side, as a corner cannot be rounder than that.
inline double roundedRectDistance(const Rect& rect, double radius, double px, double py) {
  const double halfWidth = rect.width * 0.5;
  const double halfHeight = rect.height * 0.5;
  const double r = std::clamp(radius, 0.0, std::min(halfWidth, halfHeight));
  const double qx = std::abs(px - rect.midX()) - (halfWidth - r);
  const double qy = std::abs(py - rect.midY()) - (halfHeight - r);
  const double ox = std::max(qx, 0.0);
  const double oy = std::max(qy, 0.0);
  const double outside = std::sqrt(ox * ox + oy * oy);
  const double inside = std::min(std::max(qx, qy), 0.0);
  return outside + inside - r;
}

// How much of the pixel centred at (px, py) the rounded rectangle covers, 0 to 1: a one-pixel
// wide ramp across the outline, which is what antialiased edges need.
inline double roundedRectCoverage(const Rect& rect, double radius, double px, double py) {
  return std::clamp(0.5 - roundedRectDistance(rect, radius, px, py), 0.0, 1.0);
}

}  // namespace vorn
