#include "render/Shadow.h"

#include "render/Blur.h"
#include "render/RoundedRect.h"

#include <algorithm>
#include <cmath>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vorn {
namespace {

constexpr double opacity = 0.5;
constexpr double sigmaAtFullScale = 26;
constexpr double dropAtFullScale = 14;    // the shadow falls this far below the card
constexpr double marginAtFullScale = 90;  // how far past the card the shadow is kept

// Black at opacity 255 - keep laid over `count` premultiplied pixels: the colour channels are
// multiplied by keep / 255 and alpha becomes alpha * keep / 255 + (255 - keep), rounded.
void multiplyPixels(std::uint8_t* dst, const std::uint8_t* keep, int count) {
  int i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  const __m128i half = _mm_set1_epi16(128);
  const __m128i full = _mm_set1_epi16(255);
  const __m128i alphaLanes = _mm_set_epi16(-1, 0, 0, 0, -1, 0, 0, 0);
  for (; i + 4 <= count; i += 4) {
    int packed;
    __builtin_memcpy(&packed, keep + i, 4);
    __m128i k = _mm_cvtsi32_si128(packed);
    k = _mm_unpacklo_epi8(k, k);
    k = _mm_unpacklo_epi16(k, k);  // each keep byte repeated for the pixel's four channels
    const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst + 4 * i));
    const auto scaleHalf = [&](__m128i p, __m128i f) {
      __m128i t = _mm_add_epi16(_mm_mullo_epi16(p, f), half);
      t = _mm_srli_epi16(_mm_add_epi16(t, _mm_srli_epi16(t, 8)), 8);
      return _mm_add_epi16(t, _mm_and_si128(_mm_sub_epi16(full, f), alphaLanes));
    };
    const __m128i low = scaleHalf(_mm_unpacklo_epi8(pixels, zero), _mm_unpacklo_epi8(k, zero));
    const __m128i high = scaleHalf(_mm_unpackhi_epi8(pixels, zero), _mm_unpackhi_epi8(k, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 4 * i), _mm_packus_epi16(low, high));
  }
#endif
  for (; i < count; ++i) {
    for (int c = 0; c < 4; ++c) {
      const int t = dst[4 * i + c] * keep[i] + 128;
      dst[4 * i + c] = std::uint8_t(((t + (t >> 8)) >> 8) + (c == 3 ? 255 - keep[i] : 0));
    }
  }
}

}  // namespace

Shadow::Shadow(const Rect& rect, double radius, double scale, std::vector<float>& scratch) {
  const double margin = marginAtFullScale * scale;
  bounds_ = PixelRect::covering(rect.outsetBy(margin, margin));
  const int width = bounds_.width;
  const int height = bounds_.height;
  std::vector<float> plane(size_t(width) * size_t(height));
  Rect dropped = rect;
  dropped.y += dropAtFullScale * scale;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      plane[size_t(y) * size_t(width) + size_t(x)] = float(
          opacity * roundedRectCoverage(dropped, radius, bounds_.x + x + 0.5, bounds_.y + y + 0.5));
    }
  }
  gaussianBlur(plane.data(), width, height, 1, sigmaAtFullScale * scale, BlurEdges::transparent,
               scratch);

  keep_.resize(plane.size());
  reach_.resize(size_t(height));
  for (int y = 0; y < height; ++y) {
    ColumnSpan reach{bounds_.right(), bounds_.x};
    for (int x = 0; x < width; ++x) {
      const size_t i = size_t(y) * size_t(width) + size_t(x);
      const int alpha = int(std::lround(std::clamp(plane[i], 0.0f, 1.0f) * 255));
      keep_[i] = std::uint8_t(255 - alpha);
      if (alpha > 0) {
        reach.begin = std::min(reach.begin, bounds_.x + x);
        reach.end = std::max(reach.end, bounds_.x + x + 1);
      }
    }
    reach_[size_t(y)] = reach;
  }
}

int Shadow::alphaAt(int x, int y) const {
  if (x < bounds_.x || x >= bounds_.right() || y < bounds_.y || y >= bounds_.bottom()) return 0;
  return 255 - keep_[size_t(y - bounds_.y) * size_t(bounds_.width) + size_t(x - bounds_.x)];
}

void Shadow::darken(int y, std::uint8_t* canvasRow, int canvasWidth, ColumnSpan skip) const {
  if (y < bounds_.y || y >= bounds_.bottom()) return;
  const ColumnSpan reach = reach_[size_t(y - bounds_.y)];
  const std::uint8_t* keepRow = keep_.data() + size_t(y - bounds_.y) * size_t(bounds_.width);
  const auto run = [&](int from, int to) {
    from = std::max({from, reach.begin, 0});
    to = std::min({to, reach.end, canvasWidth});
    if (to > from) multiplyPixels(canvasRow + 4 * from, keepRow + (from - bounds_.x), to - from);
  };
  if (skip.isEmpty()) {
    run(reach.begin, reach.end);
  } else {
    run(reach.begin, skip.begin);
    run(skip.end, reach.end);
  }
}

}  // namespace vorn
