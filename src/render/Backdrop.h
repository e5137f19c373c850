// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/Rect.h"
#include "render/Scaler.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace vorn {

// The blurred, darkened copy of the content that fills the canvas behind floating cards. It is
// made at a twelfth of the canvas size (blur sigma 5, saturation 1.5, brightness −0.06, then
// half-black dim and a darkening towards the bottom) and enlarged smoothly on the way out, so
// the blur never runs at full size. The small picture is kept in float until the end so the
// soft gradients do not band. One thread at a time; allocates only when the canvas size changes.
class Backdrop {
 public:
  // Makes the small picture for a canvas of the given size from `region` of `source` (aspect
  // fill; `mirror` as for the camera card). False when the canvas is too small for one.
  bool build(const FrameBuffer& source, const Rect& region, bool mirror, int canvasWidth,
             int canvasHeight);

  // After build(): the enlarged backdrop's pixels [x0, x1) of canvas row y, written to `out`.
  // Call beginRow(y) once per row before any columns(...) of it.
  void beginRow(int y) { enlarge_.beginRow(y); }
  void columns(int x0, int x1, std::uint8_t* out) const { enlarge_.columns(x0, x1, out); }

 private:
  void grade(int canvasHeight);

  // The small picture is blurred heavily next: a sparse reduction is as good as a full one.
  Scaler shrinker_{Scaler::Reduction::sparse};
  Scaler enlarge_;
  std::unique_ptr<FrameBuffer> small_;
  std::vector<float> plane_;  // small_ as premultiplied floats, 0 to 1
  std::vector<float> blurScratch_;
};

}  // namespace vorn
