// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/PixelRect.h"
#include "base/Rect.h"

#include <cstdint>
#include <vector>

namespace vorn {

// The soft drop shadow that lifts a card off the backdrop: the card's rounded shape in black at
// half opacity, blurred (sigma 26 at full scale) and moved 14 down. Blurring that much is the
// most expensive thing on the canvas, so it is baked once per (rectangle, radius, scale) into an
// alpha plane and then only multiplied into each frame.
class Shadow {
 public:
  // rect: the card on the canvas (pixels); radius: its corner radius (pixels); scale: the canvas
  // scale. `scratch` is reused for the blur.
  Shadow(const Rect& rect, double radius, double scale, std::vector<float>& scratch);

  // Every canvas pixel the shadow darkens; may reach past the canvas.
  const PixelRect& bounds() const { return bounds_; }
  // The shadow's opacity (0 to 255) at a canvas pixel; 0 outside the bounds.
  int alphaAt(int x, int y) const;

  // Darkens canvas row y (`canvasWidth` pixels) beneath the shadow, except in `skip`, the card's
  // own solid span, which the card covers anyway.
  void darken(int y, std::uint8_t* canvasRow, int canvasWidth, ColumnSpan skip) const;

 private:
  void enlarge(const std::vector<float>& small, int smallWidth, int smallHeight, int factor);

  PixelRect bounds_;
  // 255 minus the shadow's opacity, row by row over bounds_: what stays of the pixel beneath.
  std::vector<std::uint8_t> keep_;
  std::vector<ColumnSpan> reach_;  // per row, the canvas columns where the shadow is not nil
};

}  // namespace vorn
