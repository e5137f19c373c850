// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <algorithm>
#include <cmath>

namespace vorn {

// A rectangle of whole pixels, origin top-left: the unit that pixel loops walk over.
struct PixelRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  bool operator==(const PixelRect&) const = default;

  int right() const { return x + width; }
  int bottom() const { return y + height; }
  bool isEmpty() const { return width <= 0 || height <= 0; }

  PixelRect intersected(const PixelRect& other) const {
    const int left = std::max(x, other.x);
    const int top = std::max(y, other.y);
    const int r = std::min(right(), other.right());
    const int b = std::min(bottom(), other.bottom());
    if (r <= left || b <= top) return {};
    return {left, top, r - left, b - top};
  }

  // The smallest pixel rectangle that covers `rect` (rounded outwards). Values far beyond any
  // canvas are limited first so that the conversion to int stays defined.
  static PixelRect covering(const Rect& rect) {
    const auto clampToInt = [](double v) { return std::clamp(v, -1.0e8, 1.0e8); };
    const int left = static_cast<int>(std::floor(clampToInt(rect.minX())));
    const int top = static_cast<int>(std::floor(clampToInt(rect.minY())));
    const int r = static_cast<int>(std::ceil(clampToInt(rect.maxX())));
    const int b = static_cast<int>(std::ceil(clampToInt(rect.maxY())));
    return {left, top, std::max(0, r - left), std::max(0, b - top)};
  }

  // Each edge moved to the nearest whole pixel: where a square-cornered picture lands.
  static PixelRect nearest(const Rect& rect) {
    const auto clampToInt = [](double v) { return std::clamp(v, -1.0e8, 1.0e8); };
    const int left = static_cast<int>(std::lround(clampToInt(rect.minX())));
    const int top = static_cast<int>(std::lround(clampToInt(rect.minY())));
    const int r = static_cast<int>(std::lround(clampToInt(rect.maxX())));
    const int b = static_cast<int>(std::lround(clampToInt(rect.maxY())));
    return {left, top, std::max(0, r - left), std::max(0, b - top)};
  }
};

// Columns [begin, end) of one row; empty when end <= begin.
struct ColumnSpan {
  int begin = 0;
  int end = 0;
  bool isEmpty() const { return end <= begin; }
};

}  // namespace vorn
