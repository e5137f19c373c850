#include "render/Blur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

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

// Box blur along one line of n samples (each `channels` floats, `step` floats apart) from `in`
// to `out`.
void boxLine(const float* in, float* out, int n, int step, int channels, int radius,
             BlurEdges edges) {
  const float scale = 1.0f / float(2 * radius + 1);
  for (int c = 0; c < channels; ++c) {
    const float first = edges == BlurEdges::clamp ? in[c] : 0.0f;
    const float last = edges == BlurEdges::clamp ? in[std::ptrdiff_t(n - 1) * step + c] : 0.0f;
    const auto at = [&](int i) {
      if (i < 0) return first;
      if (i >= n) return last;
      return in[std::ptrdiff_t(i) * step + c];
    };
    float sum = 0;
    for (int i = -radius; i <= radius; ++i) sum += at(i);
    for (int i = 0; i < n; ++i) {
      out[std::ptrdiff_t(i) * step + c] = sum * scale;
      sum += at(i + radius + 1) - at(i - radius);
    }
  }
}

void boxRows(float* pixels, int width, int height, int channels, int radius, BlurEdges edges,
             float* line) {
  const size_t rowFloats = size_t(width) * size_t(channels);
  for (int y = 0; y < height; ++y) {
    float* row = pixels + size_t(y) * rowFloats;
    std::memcpy(line, row, rowFloats * sizeof(float));
    boxLine(line, row, width, channels, channels, radius, edges);
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
    float* out = pixels + size_t(y) * rowFloats;
    for (size_t i = 0; i < rowFloats; ++i) out[i] = sums[i] * scale;
    if (const float* entering = row(y + radius + 1)) {
      for (size_t i = 0; i < rowFloats; ++i) sums[i] += entering[i];
    }
    if (const float* leaving = row(y - radius)) {
      for (size_t i = 0; i < rowFloats; ++i) sums[i] -= leaving[i];
    }
  }
}

}  // namespace

void gaussianBlur(float* pixels, int width, int height, int channels, double sigma,
                  BlurEdges edges, std::vector<float>& scratch) {
  if (width <= 0 || height <= 0 || channels <= 0 || !(sigma > 0)) return;
  const size_t rowFloats = size_t(width) * size_t(channels);
  const size_t needed = rowFloats * size_t(height) + rowFloats;
  if (scratch.size() < needed) scratch.resize(needed);
  float* copy = scratch.data();
  float* sums = copy + rowFloats * size_t(height);
  for (int radius : boxRadii(sigma)) {
    boxRows(pixels, width, height, channels, radius, edges, sums);
    boxColumns(pixels, width, height, channels, radius, edges, copy, sums);
  }
}

}  // namespace vorn
