// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <array>
#include <cstdint>
#include <vector>

namespace vorn {

// Where the display server shares a whole monitor and cannot leave Vorn's windows out of it
// (Wayland), each of Vorn's windows carries two marks: short rows of exact, nearly black
// colours that say where the window lies around them. The capture finds them in the shared
// picture and blanks what they enclose, so Vorn is never in its own take.
struct OwnWindowMark {
  // The mark's place inside the rectangle it stands for, and that rectangle's size, in the
  // window's logical pixels (each below 4096).
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  static constexpr int kLength = 9;  // pixels in a row
  static constexpr int kRows = 4;    // rows, so that a scan of every fourth row meets one

  // The row's colours as 0xRRGGBB; `second` is the other corner's mark, with another start.
  std::array<std::uint32_t, kLength> pixels(bool second) const;
};

// The rectangles, in the picture's pixels, of the windows whose marks it shows; a window
// drawn at a whole-number scale (each logical pixel a square of pixels) is found too.
// `pixels` holds 4 bytes a pixel, blue first unless `redFirst`.
std::vector<Rect> findOwnWindows(const std::uint8_t* pixels, int width, int height, int stride,
                                 bool redFirst);

}  // namespace vorn
