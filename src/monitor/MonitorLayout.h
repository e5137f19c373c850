// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>

namespace vorn::MonitorLayout {

// From the window's top down: the title strip with the window buttons, the phone, a gap, the
// area under the phone (the deck, or the review bar in review) and a margin.
inline constexpr int titleHeight = 40, gap = 24, margin = 16;
inline constexpr int underHeight = 256;
// The phone never shrinks below this share of its size.
inline constexpr double smallestPhone = 0.3;

struct Places {
  double phoneScale = 1;
  QPoint phone;  // its top left
  QRect under;
};

// Where the phone and the area under it go in a full window of `size`: the phone at its full
// size where the window is tall enough for it, else shrunk so that the area under it keeps its
// height and every button there stays whole.
Places arrange(QSize size);

// The window's height for the phone at `phoneScale`.
int height(double phoneScale);

}  // namespace vorn::MonitorLayout
