// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/PixelRect.h"
#include "base/Rect.h"

#include <cstdint>
#include <vector>

namespace vorn {

// Draws part of a picture scaled onto the canvas, one canvas row at a time, with filtering fit
// for text: while the picture shrinks to less than half, the needed source pixels are first
// halved with exact 2 × 2 box averages, then sampled bilinearly, so every source pixel counts
// and small text does not alias. Edges are clamped (the picture's border pixels extend outwards).
// The pixel loops are our own (ScaleKernels.h), SIMD where the processor has it, run over our
// own scratch rows: libyuv's whole-image scalers allocate a row buffer on every call, and its
// row functions are internal to it, with no stable ABI.
// Scratch memory grows to the largest job seen and is then reused: a steady stream of frames
// allocates nothing. One thread at a time.
class Scaler {
 public:
  // How a picture that shrinks to a quarter or less is reduced before sampling.
  enum class Reduction {
    box,     // every source pixel counts: for anything that shows detail (cards)
    sparse,  // one 2 × 2 box per output pixel, in a single pass that reads a fraction of the
             // rows, and no reduction at all above a quarter: for pictures without pixel-fine
             // detail (camera pictures, soft from their lens) or blurred heavily afterwards
             // (the backdrop)
  };

  explicit Scaler(Reduction reduction = Reduction::box) : reduction_(reduction) {}

  // Prepares to show `region` of `source` (source pixels, may be fractional) stretched over
  // `target` (canvas pixels, may be fractional). Only canvas pixels inside `clip` will be asked
  // for: pre-shrinking is limited to the source pixels they need. `mirror` flips the region left
  // to right about its own centre. False when there is nothing to draw.
  bool prepare(const FrameBuffer& source, const Rect& region, const Rect& target,
               const PixelRect& clip, bool mirror);

  // Loads canvas row y (vertical filtering); columns() then writes any of its pixels.
  void beginRow(int y);
  // Writes canvas pixels [x0, x1) of the row begun last to `out` (4 bytes a pixel, BGRA).
  void columns(int x0, int x1, std::uint8_t* out) const;

 private:
  // How many times the source is halved before sampling (0: sampled directly).
  static int halvings(double scale, int width, int height);
  void buildLevels(const std::uint8_t* origin, int stride, int width, int height, int count);
  // One pass of 2 × 2 boxes every 2^count pixels; false when the picture is too small for it.
  bool buildSparseLevel(const std::uint8_t* origin, int stride, int width, int height, int count);
  std::uint8_t* scratch(int index, int width, int height, int& stride);
  // Vertically filters level row `levelRow` with the next one into line_.
  void loadLine(int levelRow, int fraction);
  // Horizontally filters line_ into canvas columns [x0, x1).
  void filterLine(int x0, int x1, std::uint8_t* out) const;
  // The horizontally filtered level row, computed or kept.
  const std::uint8_t* wideRowFor(int levelRow);

  Reduction reduction_;
  // The picture that is sampled: the source itself or its last halving. Valid after prepare().
  const std::uint8_t* level_ = nullptr;
  int levelStride_ = 0;
  int levelWidth_ = 0;
  int levelHeight_ = 0;
  // Pixel-centre coordinate in the level of canvas column X is u0_ + du_ * X; rows likewise.
  double u0_ = 0;
  double du_ = 0;
  double v0_ = 0;
  double dv_ = 0;

  PixelRect clip_;
  // Enlarging vertically, rows are filtered horizontally first (once per level row, two kept in
  // wide_, over the clip's columns) and canvas rows blend two of them; otherwise each canvas row
  // is first blended vertically at the level's width, then filtered horizontally.
  bool enlarging_ = false;
  std::vector<std::uint8_t> wide_;
  int wideRow_[2] = {-1, -1};  // the level row each half of wide_ holds
  const std::uint8_t* top_ = nullptr;
  const std::uint8_t* bottom_ = nullptr;
  int fraction_ = 0;

  std::vector<std::uint8_t> halves_[2];
  // One vertically filtered level row, with two copies of the edge pixels on each side so the
  // column filter may read one pixel past either end.
  std::vector<std::uint8_t> line_;
};

}  // namespace vorn
