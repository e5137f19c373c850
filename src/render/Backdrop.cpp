// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Backdrop.h"

#include "render/Blur.h"

#include <algorithm>
#include <cmath>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vorn {
namespace {

constexpr int shrinkFactor = 12;
constexpr double blurSigma = 5;
constexpr double saturation = 1.5;
constexpr double brightness = -0.06;
constexpr double dimAlpha = 0.5;
constexpr double gradientAlpha = 0.45;    // black at the bottom edge
constexpr double gradientReach = 0.4;     // share of the canvas height it fades over

// One row of colour controls with the darkenings applied as `keep` (the share of the colour
// that remains), from premultiplied floats to premultiplied bytes.
#if defined(__SSE2__)
// A pixel's four channels (b, g, r, a) travel as one vector.
void gradeRow(const float* in, std::uint8_t* out, int width, float keep) {
  const __m128 zero = _mm_setzero_ps();
  const __m128 one = _mm_set1_ps(1);
  const __m128 lumaWeights = _mm_setr_ps(0.0721f, 0.7154f, 0.2125f, 0);
  const __m128 lift = _mm_setr_ps(float(brightness), float(brightness), float(brightness), 0);
  const __m128 boost = _mm_set1_ps(float(saturation));
  const __m128 keeps = _mm_set1_ps(keep);
  const __m128 alphaLane = _mm_castsi128_ps(_mm_setr_epi32(0, 0, 0, -1));
  const __m128 toBytes = _mm_set1_ps(255);
  const __m128 rounding = _mm_set1_ps(0.5f);
  for (int x = 0; x < width; ++x, in += 4, out += 4) {
    const __m128 pixel = _mm_loadu_ps(in);
    const __m128 alpha = _mm_shuffle_ps(pixel, pixel, _MM_SHUFFLE(3, 3, 3, 3));
    const __m128 colour =
        _mm_add_ps(_mm_and_ps(_mm_cmpgt_ps(alpha, zero), _mm_div_ps(pixel, alpha)), lift);
    __m128 luma = _mm_mul_ps(colour, lumaWeights);
    luma = _mm_add_ps(luma, _mm_shuffle_ps(luma, luma, _MM_SHUFFLE(2, 3, 0, 1)));
    luma = _mm_add_ps(luma, _mm_shuffle_ps(luma, luma, _MM_SHUFFLE(1, 0, 3, 2)));
    __m128 graded = _mm_add_ps(luma, _mm_mul_ps(boost, _mm_sub_ps(colour, luma)));
    graded = _mm_mul_ps(_mm_min_ps(_mm_max_ps(graded, zero), one), _mm_mul_ps(alpha, keeps));
    const __m128 coverage = _mm_sub_ps(one, _mm_mul_ps(_mm_sub_ps(one, alpha), keeps));
    graded = _mm_or_ps(_mm_andnot_ps(alphaLane, graded), _mm_and_ps(alphaLane, coverage));
    const __m128i words = _mm_cvttps_epi32(
        _mm_add_ps(_mm_mul_ps(_mm_min_ps(_mm_max_ps(graded, zero), one), toBytes), rounding));
    const __m128i packed = _mm_packus_epi16(_mm_packs_epi32(words, words), words);
    const int bytes = _mm_cvtsi128_si32(packed);
    __builtin_memcpy(out, &bytes, 4);
  }
}
#else
std::uint8_t toByte(float unit) { return std::uint8_t(std::clamp(unit, 0.0f, 1.0f) * 255.0f + 0.5f); }

void gradeRow(const float* in, std::uint8_t* out, int width, float keep) {
  for (int x = 0; x < width; ++x, in += 4, out += 4) {
    const float alpha = in[3];
    float b = 0, g = 0, r = 0;
    if (alpha > 0) {
      b = in[0] / alpha + float(brightness);
      g = in[1] / alpha + float(brightness);
      r = in[2] / alpha + float(brightness);
      const float luma = 0.2125f * r + 0.7154f * g + 0.0721f * b;
      b = std::clamp(luma + float(saturation) * (b - luma), 0.0f, 1.0f) * alpha;
      g = std::clamp(luma + float(saturation) * (g - luma), 0.0f, 1.0f) * alpha;
      r = std::clamp(luma + float(saturation) * (r - luma), 0.0f, 1.0f) * alpha;
    }
    out[0] = toByte(b * keep);
    out[1] = toByte(g * keep);
    out[2] = toByte(r * keep);
    out[3] = toByte(1 - (1 - alpha) * keep);
  }
}
#endif

}  // namespace

bool Backdrop::build(const FrameBuffer& source, const Rect& region, bool mirror, int canvasWidth,
                     int canvasHeight) {
  const int width = canvasWidth / shrinkFactor;
  const int height = canvasHeight / shrinkFactor;
  if (width < 1 || height < 1 || region.isEmpty()) return false;
  if (!small_ || small_->width() != width || small_->height() != height) {
    small_ = std::make_unique<FrameBuffer>(width, height);
    plane_.assign(size_t(width) * size_t(height) * 4, 0.0f);
  }
  // Aspect fill, as for a card: the overflow is cut equally on both sides.
  const double k = std::max(width / region.width, height / region.height);
  const Rect target{width * 0.5 - k * region.width * 0.5, height * 0.5 - k * region.height * 0.5,
                    k * region.width, k * region.height};
  if (!shrinker_.prepare(source, region, target, {0, 0, width, height}, mirror)) return false;
  for (int y = 0; y < height; ++y) {
    shrinker_.beginRow(y);
    shrinker_.columns(0, width, small_->row(y));
  }
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* row = small_->row(y);
    float* out = plane_.data() + size_t(y) * size_t(width) * 4;
    for (int i = 0; i < width * 4; ++i) out[i] = row[i] * (1.0f / 255.0f);
  }
  gaussianBlur(plane_.data(), width, height, 4, blurSigma, BlurEdges::clamp, blurScratch_);
  grade(canvasHeight);
  return enlarge_.prepare(*small_, {0, 0, double(width), double(height)},
                          {0, 0, double(canvasWidth), double(canvasHeight)},
                          {0, 0, canvasWidth, canvasHeight}, false);
}

// Colour controls, then the dim and the bottom gradient, written back to the small picture.
void Backdrop::grade(int canvasHeight) {
  const int width = small_->width();
  const int height = small_->height();
  for (int y = 0; y < height; ++y) {
    // Both darkenings are black laid over the picture; their strength at this row's centre.
    const double centre = (y + 0.5) * canvasHeight / height;
    const double fromBottom = canvasHeight - centre;
    const double gradient =
        gradientAlpha * std::clamp(1.0 - fromBottom / (gradientReach * canvasHeight), 0.0, 1.0);
    const float keep = float((1 - dimAlpha) * (1 - gradient));
    gradeRow(plane_.data() + size_t(y) * size_t(width) * 4, small_->row(y), width, keep);
  }
}

}  // namespace vorn
