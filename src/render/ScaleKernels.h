// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorn {

// The pixel loops of the Scaler, on 4-byte pixels. Every variant gives the same bytes as the
// portable one, so a picture does not depend on the processor it was made on.
struct ScaleKernels {
  const char* name;
  // Each of `bytes` bytes: (top * (256 - fraction) + bottom * fraction + 128) >> 8, 0 < fraction
  // < 256.
  void (*blendRows)(std::uint8_t* dst, const std::uint8_t* top, const std::uint8_t* bottom,
                    int bytes, int fraction);
  // Pixel i is the rounded mean of the 2 × 2 box at column 2i of `src` and the row below.
  void (*halveRow)(const std::uint8_t* src, std::ptrdiff_t stride, std::uint8_t* dst, int width);
  // Pixel i is the rounded mean of the 2 × 2 box at column step * i of `src` and the row below.
  void (*boxEvery)(const std::uint8_t* src, std::ptrdiff_t stride, int step, std::uint8_t* dst,
                   int width);
  // Horizontal linear filtering of `count` pixels: pixel i blends source pixels x >> 16 and the
  // one after it by the fraction (x >> 8) & 255, x advancing by dx. The weights, 256 - f and f,
  // keep a flat colour exact (libyuv's column filter weighs 127/128 in all: one percent darker).
  void (*filterColumns)(std::uint8_t* dst, const std::uint8_t* src, int count, int x, int dx);
};

// The variants this processor runs, the portable one first, the fastest last.
const std::vector<const ScaleKernels*>& runnableScaleKernels();

inline const ScaleKernels& fastestScaleKernels() { return *runnableScaleKernels().back(); }

}  // namespace vorn
