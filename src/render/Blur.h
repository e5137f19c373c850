// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

namespace vorn {

// What lies beyond the picture's border while blurring.
enum class BlurEdges {
  clamp,        // the border pixels extend outwards (a picture clamped to its extent)
  transparent,  // zero (a shape on an empty background)
};

// A Gaussian blur of standard deviation `sigma` pixels, approximated by three successive box
// blurs: running sums make the cost independent of sigma, which matters for the large soft
// shadows. Works in place on interleaved float channels. `scratch` is the caller's, reused
// between calls so a steady stream of blurs allocates nothing.
void gaussianBlur(float* pixels, int width, int height, int channels, double sigma,
                  BlurEdges edges, std::vector<float>& scratch);

}  // namespace vorn
