// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/PixelRect.h"
#include "base/Rect.h"

#include <vector>

namespace vorn {

// How the toolkit's points relate to the display server's pixels. Each display keeps its
// top-left corner and divides its size by its scale (the device pixel ratio), so a display at
// 200 % spans half as many points as pixels. Published by the GUI thread whenever the screens
// change, read from any thread; with nothing published, points are pixels.
namespace ScreenScale {

struct Display {
  Rect points;  // the display in global points
  double scale = 1.0;
  bool operator==(const Display&) const = default;
};

void publish(std::vector<Display> displays);
// The scale of the display whose pixels contain `pixel` (1 when none does).
double scaleAt(Point pixel);
Point toPoints(Point pixel);
// A rectangle of pixels in points, by the display its top-left corner lies on.
Rect toPoints(const Rect& pixels);
// The server's pixels of a display whose rectangle is `points` at `scale`: its top-left corner
// stays, its size scales.
PixelRect displayPixels(const Rect& points, double scale);

}  // namespace ScreenScale
}  // namespace vorn
