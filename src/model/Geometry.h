// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "model/Model.h"

#include <optional>

namespace vorn {

// Where the screen and camera pictures sit on the 1080 × 1920 canvas (origin top-left).
// Equality is exact, with no tolerance: the render loop's frame signature relies on it.
struct Slots {
  std::optional<Rect> screen;
  std::optional<Rect> camera;
  bool cameraCircle = false;
  double radius = 0;  // corner radius in canvas points; 0: square, no rim, no shadow
  bool backdrop = false;
  double faceFraction = 0;  // share of the camera picture's height a face should fill

  bool operator==(const Slots&) const = default;
};

namespace Geometry {

// The portrait frame every take and reel is drawn in, in pixels.
inline constexpr double canvasWidth = 1080;
inline constexpr double canvasHeight = 1920;

// A pure function of the layout fields. Nothing is rounded or clamped: a bubble may reach
// past the canvas and a split ratio of 0 or 1 gives a pane of zero height.
Slots slots(const LayoutFields& fields);

}  // namespace Geometry
}  // namespace vorn
