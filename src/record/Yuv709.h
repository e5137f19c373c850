// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace vorn {

// The three planes of a YUV 4:2:0 picture.
struct YuvPlanes {
  std::uint8_t* y;
  int yStride;
  std::uint8_t* u;
  int uStride;
  std::uint8_t* v;
  int vStride;
};

// Converts BGRA (alpha ignored: composed frames are opaque) to YUV 4:2:0 with the BT.709
// matrix in limited range (Y 16–235, chroma 16–240), each chroma sample the mean of its 2 × 2
// block. Two rows at a time with SSE2 on x86-64; a plain loop elsewhere. Any width and height.
void bgraToYuv709(const std::uint8_t* bgra, int bgraStride, int width, int height,
                  const YuvPlanes& out);

}  // namespace vorn
