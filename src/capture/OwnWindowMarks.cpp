// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/OwnWindowMarks.h"

#include <algorithm>
#include <cstring>

namespace vorn {
namespace {

// Dark enough to pass for a window's edge; each channel of a mark lies in 16…31, its low four
// bits carrying the data.
constexpr std::uint32_t kBase = 0x101010;
// Both marks open on the same green, which a scan looks for alone.
constexpr std::uint8_t kOpeningGreen = 0x1d;
constexpr std::array<std::uint32_t, 4> kStarts[2] = {{0x111d13, 0x1e121b, 0x141f11, 0x1c1018},
                                                     {0x1e1d11, 0x121b10, 0x1f141d, 0x101812}};
constexpr int kMaxScale = 4;

std::uint32_t nibbles(int value) {
  return kBase | std::uint32_t((value >> 8) & 15) << 16 | std::uint32_t((value >> 4) & 15) << 8 |
         std::uint32_t(value & 15);
}

int valueOf(std::uint32_t pixel) {
  return int((pixel >> 16) & 15) << 8 | int((pixel >> 8) & 15) << 4 | int(pixel & 15);
}

bool isNibblePixel(std::uint32_t pixel) { return (pixel & 0xf0f0f0) == kBase; }

int checkOf(int x, int y, int width, int height) {
  return (x * 7 + y * 13 + width * 17 + height * 19) % 4096 ^ 0xa5a;
}

// One pixel of the picture as 0xRRGGBB.
struct Picture {
  const std::uint8_t* pixels;
  int stride;
  bool redFirst;

  std::uint32_t at(int x, int y) const {
    const std::uint8_t* p = pixels + std::ptrdiff_t(y) * stride + std::ptrdiff_t(x) * 4;
    return redFirst ? std::uint32_t(p[0]) << 16 | std::uint32_t(p[1]) << 8 | p[2]
                    : std::uint32_t(p[2]) << 16 | std::uint32_t(p[1]) << 8 | p[0];
  }
};

// The window a mark starting at (x, y) stands for, when the row there is one.
bool readMark(const Picture& picture, int x, int y, int width, Rect* found) {
  for (int kind = 0; kind < 2; ++kind) {
    if (picture.at(x, y) != kStarts[kind][0]) continue;
    int scale = 1;
    while (scale < kMaxScale && x + scale < width && picture.at(x + scale, y) == kStarts[kind][0]) ++scale;
    if (x + OwnWindowMark::kLength * scale > width) return false;
    for (int i = 1; i < 4; ++i)
      if (picture.at(x + i * scale, y) != kStarts[kind][i]) return false;
    int values[5];
    for (int i = 0; i < 5; ++i) {
      const std::uint32_t pixel = picture.at(x + (4 + i) * scale, y);
      if (!isNibblePixel(pixel)) return false;
      values[i] = valueOf(pixel);
    }
    const auto [markX, markY, w, h, check] = values;
    if (check != checkOf(markX, markY, w, h) || w == 0 || h == 0) return false;
    int top = y;  // the scan may meet the mark on any of its rows
    while (top > 0 && picture.at(x, top - 1) == kStarts[kind][0]) --top;
    *found = Rect{double(x - markX * scale), double(top - markY * scale), double(w * scale), double(h * scale)};
    return true;
  }
  return false;
}

}  // namespace

std::array<std::uint32_t, OwnWindowMark::kLength> OwnWindowMark::pixels(bool second) const {
  const auto& start = kStarts[second ? 1 : 0];
  return {start[0], start[1], start[2], start[3], nibbles(x), nibbles(y), nibbles(width), nibbles(height),
          nibbles(checkOf(x, y, width, height))};
}

std::vector<Rect> findOwnWindows(const std::uint8_t* pixels, int width, int height, int stride, bool redFirst) {
  std::vector<Rect> windows;
  const Picture picture{pixels, stride, redFirst};
  // Every fourth row, as many as a mark has; the opening green is searched for as a byte,
  // which the C library does many at a time, and is one only as a pixel's second byte.
  for (int y = 0; y < height; y += OwnWindowMark::kRows) {
    const std::uint8_t* row = pixels + std::ptrdiff_t(y) * stride;
    const std::uint8_t* end = row + std::ptrdiff_t(width) * 4;
    for (const std::uint8_t* at = row;
         (at = static_cast<const std::uint8_t*>(std::memchr(at, kOpeningGreen, std::size_t(end - at)))); ++at) {
      if ((at - row) % 4 != 1) continue;
      const int x = int((at - row) / 4);
      if (x > 0 && picture.at(x - 1, y) == picture.at(x, y)) continue;  // inside a scaled mark
      Rect found;
      if (!readMark(picture, x, y, width, &found)) continue;
      if (std::find(windows.begin(), windows.end(), found) == windows.end()) windows.push_back(found);
    }
  }
  return windows;
}

}  // namespace vorn
