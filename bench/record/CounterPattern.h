// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// The frame counter the benchmark window paints and the probe reads back: 16 vertical stripes
// across the window's width, in a band near its top, black for 0 and white for 1, holding the
// counter's Gray code (most significant bit on the left). Gray code means a picture caught in
// the middle of a repaint still reads as one of the two counter values.

#include <cstdint>

namespace vorn::bench {

constexpr int kCounterBits = 16;
// The band of stripes, as fractions of the window's height.
constexpr double kBandTop = 0.04;
constexpr double kBandBottom = 0.36;
// Where the probe samples, as a fraction of the window's height.
constexpr double kSampleRow = 0.20;

inline std::uint32_t toGray(std::uint32_t value) { return value ^ (value >> 1); }

inline std::uint32_t fromGray(std::uint32_t gray) {
  std::uint32_t value = gray;
  for (std::uint32_t shift = 1; shift < 32; shift <<= 1) value ^= value >> shift;
  return value;
}

}  // namespace vorn::bench
