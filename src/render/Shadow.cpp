// SPDX-License-Identifier: GPL-3.0-or-later
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
  const double sigma = sigmaAtFullScale * scale;
  // So soft a shadow loses nothing visible when it is blurred at a fraction of the resolution
  // and enlarged; it makes baking many times cheaper (a dragged divider re-bakes every step).
  const int factor = std::clamp(int(sigma / 6), 1, 4);
  const int smallWidth = (width + factor - 1) / factor;
  const int smallHeight = (height + factor - 1) / factor;
  std::vector<float> small(size_t(smallWidth) * size_t(smallHeight));
  const Rect dropped{(rect.x - bounds_.x) / factor,
                     (rect.y + dropAtFullScale * scale - bounds_.y) / factor, rect.width / factor,
                     rect.height / factor};
  for (int y = 0; y < smallHeight; ++y) {
    for (int x = 0; x < smallWidth; ++x) {
      small[size_t(y) * size_t(smallWidth) + size_t(x)] =
          float(opacity * roundedRectCoverage(dropped, radius / factor, x + 0.5, y + 0.5));
    }
  }
  gaussianBlur(small.data(), smallWidth, smallHeight, 1, sigma / factor, BlurEdges::transparent,
               scratch);
  enlarge(small, smallWidth, smallHeight, factor);
}

// Bilinear enlargement of the small alpha plane into keep_ (255 − opacity): first each small row
// to the full width, then each full row as a blend of two of those; then the reach of each row.
void Shadow::enlarge(const std::vector<float>& small, int smallWidth, int smallHeight, int factor) {
  const int width = bounds_.width;
  const int height = bounds_.height;
  const auto sample = [factor](int i, int count, int& first, float& share) {
    const float at = std::clamp((i + 0.5f) / float(factor) - 0.5f, 0.0f, float(count - 1));
    first = std::min(int(at), std::max(count - 2, 0));
    share = count > 1 ? at - float(first) : 0.0f;
  };
  std::vector<int> lefts(static_cast<size_t>(width));
  std::vector<float> shares(static_cast<size_t>(width));
  for (int x = 0; x < width; ++x) sample(x, smallWidth, lefts[size_t(x)], shares[size_t(x)]);
  std::vector<float> wide(size_t(smallHeight) * size_t(width));
  for (int y = 0; y < smallHeight; ++y) {
    const float* row = small.data() + size_t(y) * size_t(smallWidth);
    float* out = wide.data() + size_t(y) * size_t(width);
    for (int x = 0; x < width; ++x) {
      const int l = lefts[size_t(x)];
      const int r = std::min(l + 1, smallWidth - 1);
      out[x] = row[l] + (row[r] - row[l]) * shares[size_t(x)];
    }
  }
  keep_.resize(size_t(width) * size_t(height));
  reach_.resize(size_t(height));
  for (int y = 0; y < height; ++y) {
    int top = 0;
    float share = 0;
    sample(y, smallHeight, top, share);
    const float* upper = wide.data() + size_t(top) * size_t(width);
    const float* lower = wide.data() + size_t(std::min(top + 1, smallHeight - 1)) * size_t(width);
    std::uint8_t* out = keep_.data() + size_t(y) * size_t(width);
    for (int x = 0; x < width; ++x) {
      // Blurred coverage stays within 0 and the opacity: no clamping needed.
      const float alpha = upper[x] + (lower[x] - upper[x]) * share;
      out[x] = std::uint8_t(255.5f - alpha * 255.0f);
    }
    int begin = 0;
    while (begin < width && out[begin] == 255) ++begin;
    int end = width;
    while (end > begin && out[end - 1] == 255) --end;
    reach_[size_t(y)] = begin < end ? ColumnSpan{bounds_.x + begin, bounds_.x + end}
                                    : ColumnSpan{bounds_.right(), bounds_.x};
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
