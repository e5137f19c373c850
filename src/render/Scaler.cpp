#include "render/Scaler.h"

#include <libyuv/cpu_id.h>
#include <libyuv/row.h>
#include <libyuv/scale_row.h>

#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vorn {
namespace {

constexpr int linePadding = 2;  // pixels of edge copies on each side of line_

using InterpolateRowFn = void (*)(std::uint8_t*, const std::uint8_t*, std::ptrdiff_t, int, int);
using HalveRowFn = void (*)(const std::uint8_t*, std::ptrdiff_t, std::uint8_t*, int);

struct Kernels {
  InterpolateRowFn interpolateRow = libyuv::InterpolateRow_C;
  HalveRowFn halveRow = libyuv::ScaleARGBRowDown2Box_C;
};

// The fastest row functions this processor runs, chosen once.
const Kernels& kernels() {
  static const Kernels chosen = [] {
    Kernels k;
#if defined(__x86_64__) || defined(__i386__)
    if (libyuv::TestCpuFlag(libyuv::kCpuHasSSE2)) k.halveRow = libyuv::ScaleARGBRowDown2Box_Any_SSE2;
    if (libyuv::TestCpuFlag(libyuv::kCpuHasSSSE3)) k.interpolateRow = libyuv::InterpolateRow_Any_SSSE3;
    if (libyuv::TestCpuFlag(libyuv::kCpuHasAVX2)) k.interpolateRow = libyuv::InterpolateRow_Any_AVX2;
#endif
    return k;
  }();
  return chosen;
}

// Horizontal linear filtering of `count` pixels: pixel i blends source pixels x >> 16 and the
// one after it by the fraction (x >> 8) & 255, x advancing by dx. libyuv's SIMD column filter
// weighs the two pixels 127/128 in all, which darkens every picture by one percent; this one
// keeps a flat colour exact.
void filterColumns(std::uint8_t* dst, const std::uint8_t* src, int count, int x, int dx) {
  int i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  const __m128i half = _mm_set1_epi32(128);
  const auto blendOne = [&](int position) {
    const int fraction = (position >> 8) & 255;
    __m128i pair = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + 4 * (position >> 16)));
    pair = _mm_unpacklo_epi8(pair, zero);                       // b0 g0 r0 a0 b1 g1 r1 a1
    pair = _mm_unpacklo_epi16(pair, _mm_srli_si128(pair, 8));   // b0 b1 g0 g1 r0 r1 a0 a1
    const __m128i weights = _mm_set1_epi32((fraction << 16) | (256 - fraction));
    return _mm_srli_epi32(_mm_add_epi32(_mm_madd_epi16(pair, weights), half), 8);
  };
  for (; i + 2 <= count; i += 2) {
    const __m128i first = blendOne(x);
    const __m128i second = blendOne(x + dx);
    x += 2 * dx;
    const __m128i words = _mm_packs_epi32(first, second);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + 4 * i), _mm_packus_epi16(words, words));
  }
#endif
  for (; i < count; ++i, x += dx) {
    const std::uint8_t* left = src + 4 * (x >> 16);
    const int fraction = (x >> 8) & 255;
    for (int c = 0; c < 4; ++c) {
      dst[4 * i + c] = std::uint8_t((left[c] * (256 - fraction) + left[4 + c] * fraction + 128) >> 8);
    }
  }
}

bool finite(const Rect& r) {
  return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.width) &&
         std::isfinite(r.height);
}

void copyPixel(std::uint8_t* to, const std::uint8_t* from) { std::memcpy(to, from, 4); }

}  // namespace

int Scaler::halvings(double scale, int width, int height) {
  int count = 0;
  while (scale < 0.5 && (width >> (count + 1)) >= 2 && (height >> (count + 1)) >= 2) {
    scale *= 2;
    ++count;
  }
  return count;
}

bool Scaler::prepare(const FrameBuffer& source, const Rect& region, const Rect& target,
                     const PixelRect& clip, bool mirror) {
  level_ = nullptr;
  if (!finite(region) || !finite(target) || region.isEmpty() || target.isEmpty() ||
      clip.isEmpty()) {
    return false;
  }
  const Rect shown = region.intersected({0, 0, double(source.width()), double(source.height())});
  if (shown.isEmpty()) return false;

  const double kx = target.width / region.width;  // canvas pixels per source pixel
  const double ky = target.height / region.height;
  // Source coordinate (continuous) of canvas position X: sx(X) = a + b * X.
  const double bx = mirror ? -1.0 / kx : 1.0 / kx;
  const double ax = mirror ? region.maxX() - (0.5 - target.x) / kx : region.x + (0.5 - target.x) / kx;
  const double by = 1.0 / ky;
  const double ay = region.y + (0.5 - target.y) / ky;

  // The source pixels the clip needs, one extra on each side for the filter.
  const double sx0 = ax + bx * clip.x;
  const double sx1 = ax + bx * (clip.right() - 1);
  const double sy0 = ay + by * clip.y;
  const double sy1 = ay + by * (clip.bottom() - 1);
  const PixelRect needed = PixelRect::covering({std::min(sx0, sx1) - 1, std::min(sy0, sy1) - 1,
                                                std::abs(sx1 - sx0) + 2, std::abs(sy1 - sy0) + 2})
                               .intersected(PixelRect::covering(shown))
                               .intersected({0, 0, source.width(), source.height()});
  if (needed.isEmpty()) return false;

  const int count = halvings(std::min(kx, ky), needed.width, needed.height);
  const std::uint8_t* origin = source.row(needed.y) + needed.x * 4;
  buildLevels(origin, source.stride(), needed.width, needed.height, count);

  const double unit = double(1 << count);
  u0_ = (ax - needed.x) / unit - 0.5;
  du_ = bx / unit;
  v0_ = (ay - needed.y) / unit - 0.5;
  dv_ = by / unit;

  const size_t lineBytes = size_t(levelWidth_ + 2 * linePadding) * 4;
  if (line_.size() < lineBytes) line_.resize(lineBytes);
  return true;
}

void Scaler::buildLevels(const std::uint8_t* origin, int stride, int width, int height, int count) {
  level_ = origin;
  levelStride_ = stride;
  levelWidth_ = width;
  levelHeight_ = height;
  for (int i = 0; i < count; ++i) {
    const int w = levelWidth_ / 2;
    const int h = levelHeight_ / 2;
    const int outStride = (w * 4 + 63) & ~63;
    std::vector<std::uint8_t>& out = halves_[i % 2];
    if (out.size() < size_t(outStride) * size_t(h)) out.resize(size_t(outStride) * size_t(h));
    for (int y = 0; y < h; ++y) {
      kernels().halveRow(level_ + std::ptrdiff_t(2 * y) * levelStride_, levelStride_,
                         out.data() + std::ptrdiff_t(y) * outStride, w);
    }
    level_ = out.data();
    levelStride_ = outStride;
    levelWidth_ = w;
    levelHeight_ = h;
  }
}

void Scaler::beginRow(int y) {
  if (!level_) return;
  const double v = std::clamp(v0_ + dv_ * y, 0.0, double(levelHeight_ - 1));
  int yi = int(v);
  int fraction = int(std::lround((v - yi) * 256));
  if (fraction >= 256) {
    ++yi;
    fraction = 0;
  }
  if (yi >= levelHeight_ - 1) {
    yi = levelHeight_ - 1;
    fraction = 0;
  }
  std::uint8_t* line = line_.data() + linePadding * 4;
  const std::uint8_t* top = level_ + std::ptrdiff_t(yi) * levelStride_;
  if (fraction == 0) {
    std::memcpy(line, top, size_t(levelWidth_) * 4);
  } else {
    kernels().interpolateRow(line, top, levelStride_, levelWidth_ * 4, fraction);
  }
  for (int i = 1; i <= linePadding; ++i) {
    copyPixel(line - 4 * i, line);
    copyPixel(line + 4 * (levelWidth_ - 1 + i), line + 4 * (levelWidth_ - 1));
  }
}

void Scaler::columns(int x0, int x1, std::uint8_t* out) const {
  if (!level_ || x1 <= x0) return;
  const std::uint8_t* line = line_.data() + linePadding * 4;
  const double last = levelWidth_ - 1;
  // Columns whose sample lies inside the level; the rest repeat the edge pixels.
  double first = x0;
  double end = x1;
  if (du_ > 0) {
    first = std::ceil((0 - u0_) / du_);
    end = std::floor((last - u0_) / du_) + 1;
  } else if (du_ < 0) {
    first = std::ceil((last - u0_) / du_);
    end = std::floor((0 - u0_) / du_) + 1;
  }
  const int inside0 = int(std::clamp(first, double(x0), double(x1)));
  int inside1 = int(std::clamp(end, double(x0), double(x1)));
  inside1 = std::max(inside1, inside0);
  const std::uint8_t* before = du_ >= 0 ? line : line + 4 * (levelWidth_ - 1);
  const std::uint8_t* after = du_ >= 0 ? line + 4 * (levelWidth_ - 1) : line;
  for (int x = x0; x < std::min(inside0, x1); ++x) copyPixel(out + 4 * (x - x0), before);
  if (inside1 > inside0) {
    const int fixed = int(std::lround((u0_ + du_ * inside0) * 65536.0));
    const int step = int(std::lround(du_ * 65536.0));
    filterColumns(out + 4 * (inside0 - x0), line, inside1 - inside0, fixed, step);
  }
  for (int x = std::max(inside1, x0); x < x1; ++x) copyPixel(out + 4 * (x - x0), after);
}

}  // namespace vorn
