// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Blur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vorn {
namespace {

constexpr int passes = 3;

// Radii of three boxes whose succession has the variance of a Gaussian of `sigma`
// (the widths straddle the ideal one so the variances add up exactly, to rounding).
std::array<int, passes> boxRadii(double sigma) {
  const double ideal = std::sqrt(12.0 * sigma * sigma / passes + 1.0);
  int lower = int(std::floor(ideal));
  if (lower % 2 == 0) --lower;
  lower = std::max(lower, 1);
  const int upper = lower + 2;
  const double m = (12.0 * sigma * sigma - passes * lower * lower - 4.0 * passes * lower -
                    3.0 * passes) / (-4.0 * lower - 4.0);
  const int lowerCount = int(std::lround(m));
  std::array<int, passes> radii{};
  for (int i = 0; i < passes; ++i) radii[size_t(i)] = ((i < lowerCount ? lower : upper) - 1) / 2;
  return radii;
}

// Horizontal box blur of every row. Each row is first copied into `padded` with `radius` + 1
// samples of what lies beyond each end, so the running sum needs no bounds checks.
void boxRows(float* pixels, int width, int height, int channels, int radius, BlurEdges edges,
             float* padded) {
  const size_t rowFloats = size_t(width) * size_t(channels);
  const int pad = radius + 1;
  const bool clamp = edges == BlurEdges::clamp;
  const float scale = 1.0f / float(2 * radius + 1);
  for (int y = 0; y < height; ++y) {
    float* row = pixels + size_t(y) * rowFloats;
    for (int i = 0; i < pad; ++i) {
      for (int c = 0; c < channels; ++c) {
        padded[size_t(i * channels + c)] = clamp ? row[c] : 0.0f;
        padded[size_t((pad + width + i) * channels + c)] =
            clamp ? row[rowFloats - size_t(channels) + size_t(c)] : 0.0f;
      }
    }
    std::memcpy(padded + size_t(pad * channels), row, rowFloats * sizeof(float));
#if defined(__SSE2__)
    if (channels == 4) {
      // The four channels of a pixel run as one vector: one chain of adds instead of four.
      const __m128 factor = _mm_set1_ps(scale);
      __m128 sum = _mm_setzero_ps();
      for (int i = pad - radius; i <= pad + radius; ++i) sum = _mm_add_ps(sum, _mm_loadu_ps(padded + 4 * i));
      for (int x = 0; x < width; ++x) {
        _mm_storeu_ps(row + 4 * x, _mm_mul_ps(sum, factor));
        sum = _mm_add_ps(sum, _mm_sub_ps(_mm_loadu_ps(padded + 4 * (pad + x + radius + 1)),
                                         _mm_loadu_ps(padded + 4 * (pad + x - radius))));
      }
      continue;
    }
#endif
    for (int c = 0; c < channels; ++c) {
      // The window of output x spans padded samples [pad + x - radius, pad + x + radius].
      const float* in = padded + c;
      float sum = 0;
      for (int i = pad - radius; i <= pad + radius; ++i) sum += in[i * channels];
      for (int x = 0; x < width; ++x) {
        row[x * channels + c] = sum * scale;
        sum += in[(pad + x + radius + 1) * channels] - in[(pad + x - radius) * channels];
      }
    }
  }
}

// One output row of the vertical pass: out = sums × scale, then the window moves down a row
// (`entering` added, `leaving` taken off; null stands for a row of zeros).
void advance(float* out, float* sums, const float* entering, const float* leaving, size_t count,
             float scale) {
  size_t i = 0;
#if defined(__SSE2__)
  const __m128 factor = _mm_set1_ps(scale);
  const __m128 zero = _mm_setzero_ps();
  for (; i + 4 <= count; i += 4) {
    __m128 sum = _mm_loadu_ps(sums + i);
    _mm_storeu_ps(out + i, _mm_mul_ps(sum, factor));
    sum = _mm_add_ps(sum, entering ? _mm_loadu_ps(entering + i) : zero);
    sum = _mm_sub_ps(sum, leaving ? _mm_loadu_ps(leaving + i) : zero);
    _mm_storeu_ps(sums + i, sum);
  }
#endif
  for (; i < count; ++i) {
    out[i] = sums[i] * scale;
    sums[i] += (entering ? entering[i] : 0.0f) - (leaving ? leaving[i] : 0.0f);
  }
}

// Vertical box blur with one running sum per row element, walking whole rows (cache friendly).
void boxColumns(float* pixels, int width, int height, int channels, int radius, BlurEdges edges,
                float* copy, float* sums) {
  const size_t rowFloats = size_t(width) * size_t(channels);
  std::memcpy(copy, pixels, rowFloats * size_t(height) * sizeof(float));
  const auto row = [&](int y) -> const float* {
    if (y < 0) return edges == BlurEdges::clamp ? copy : nullptr;
    if (y >= height) return edges == BlurEdges::clamp ? copy + size_t(height - 1) * rowFloats : nullptr;
    return copy + size_t(y) * rowFloats;
  };
  const float scale = 1.0f / float(2 * radius + 1);
  std::fill(sums, sums + rowFloats, 0.0f);
  for (int y = -radius; y <= radius; ++y) {
    if (const float* r = row(y)) {
      for (size_t i = 0; i < rowFloats; ++i) sums[i] += r[i];
    }
  }
  for (int y = 0; y < height; ++y) {
    advance(pixels + size_t(y) * rowFloats, sums, row(y + radius + 1), row(y - radius), rowFloats,
            scale);
  }
}

}  // namespace

void gaussianBlur(float* pixels, int width, int height, int channels, double sigma,
                  BlurEdges edges, std::vector<float>& scratch) {
  if (width <= 0 || height <= 0 || channels <= 0 || !(sigma > 0)) return;
  const size_t rowFloats = size_t(width) * size_t(channels);
  const std::array<int, passes> radii = boxRadii(sigma);
  const int widest = *std::max_element(radii.begin(), radii.end());
  const size_t paddedFloats = size_t(width + 2 * (widest + 1)) * size_t(channels);
  const size_t needed = rowFloats * size_t(height) + rowFloats + paddedFloats;
  if (scratch.size() < needed) scratch.resize(needed);
  float* copy = scratch.data();
  float* sums = copy + rowFloats * size_t(height);
  float* padded = sums + rowFloats;
  for (int radius : radii) {
    boxRows(pixels, width, height, channels, radius, edges, padded);
    boxColumns(pixels, width, height, channels, radius, edges, copy, sums);
  }
}

}  // namespace vorn
