// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/Yuv709.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vorn {
namespace {

// BT.709 limited range. Luma weights scaled by 2^16 (applied to value·256, so the sum is in
// 1/256 levels); chroma weights scaled by 2^15 (applied to the 2 × 2 sum·32, giving 1/64 levels).
constexpr int lumaR = 11966, lumaG = 40254, lumaB = 4064;
constexpr int cbR = -3298, cbG = -11094, cbB = 14392;
constexpr int crR = 14392, crG = -13073, crB = -1320;

inline std::uint8_t lumaOf(const std::uint8_t* p) {
  const int sum = ((p[2] * 256 * lumaR) >> 16) + ((p[1] * 256 * lumaG) >> 16) +
                  ((p[0] * 256 * lumaB) >> 16);
  return static_cast<std::uint8_t>((sum + 16 * 256 + 128) >> 8);
}

inline std::uint8_t chromaOf(int sumR, int sumG, int sumB, int kR, int kG, int kB) {
  const int value = ((sumR * 32 * kR) >> 16) + ((sumG * 32 * kG) >> 16) + ((sumB * 32 * kB) >> 16);
  return static_cast<std::uint8_t>(std::clamp((value + 128 * 64 + 32) >> 6, 0, 255));
}

// Columns [from, width) of one row pair, pixel by pixel; the same arithmetic as the vector path.
void convertTail(const std::uint8_t* row0, const std::uint8_t* row1, int from, int width,
                 std::uint8_t* y0, std::uint8_t* y1, std::uint8_t* u, std::uint8_t* v) {
  for (int x = from; x < width; x += 2) {
    const int x1 = std::min(x + 1, width - 1);
    const std::uint8_t* p[4] = {row0 + 4 * x, row0 + 4 * x1, row1 + 4 * x, row1 + 4 * x1};
    y0[x] = lumaOf(p[0]);
    y1[x] = lumaOf(p[2]);
    if (x1 != x) {
      y0[x1] = lumaOf(p[1]);
      y1[x1] = lumaOf(p[3]);
    }
    int r = 0, g = 0, b = 0;
    for (const std::uint8_t* q : p) {
      b += q[0];
      g += q[1];
      r += q[2];
    }
    u[x / 2] = chromaOf(r, g, b, cbR, cbG, cbB);
    v[x / 2] = chromaOf(r, g, b, crR, crG, crB);
  }
}

#if defined(__SSE2__)

struct Channels {
  __m128i b, g, r;  // eight pixels, 16 bits per lane
};

// Splits eight BGRA pixels into their channels.
inline Channels split(const std::uint8_t* p) {
  const __m128i mask = _mm_set1_epi32(0xff);
  const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16));
  return {_mm_packs_epi32(_mm_and_si128(a, mask), _mm_and_si128(c, mask)),
          _mm_packs_epi32(_mm_and_si128(_mm_srli_epi32(a, 8), mask),
                          _mm_and_si128(_mm_srli_epi32(c, 8), mask)),
          _mm_packs_epi32(_mm_and_si128(_mm_srli_epi32(a, 16), mask),
                          _mm_and_si128(_mm_srli_epi32(c, 16), mask))};
}

inline __m128i luma(const Channels& c) {
  const __m128i sum = _mm_add_epi16(
      _mm_add_epi16(_mm_mulhi_epu16(_mm_slli_epi16(c.r, 8), _mm_set1_epi16(lumaR)),
                    _mm_mulhi_epu16(_mm_slli_epi16(c.g, 8), _mm_set1_epi16(static_cast<short>(lumaG)))),
      _mm_mulhi_epu16(_mm_slli_epi16(c.b, 8), _mm_set1_epi16(lumaB)));
  return _mm_srli_epi16(_mm_add_epi16(sum, _mm_set1_epi16(16 * 256 + 128)), 8);
}

// Sums each 2 × 2 block of sixteen columns of two rows: eight sums per channel.
inline __m128i blockSums(__m128i row0Low, __m128i row1Low, __m128i row0High, __m128i row1High) {
  const __m128i ones = _mm_set1_epi16(1);
  return _mm_packs_epi32(_mm_madd_epi16(_mm_add_epi16(row0Low, row1Low), ones),
                         _mm_madd_epi16(_mm_add_epi16(row0High, row1High), ones));
}

inline __m128i chroma(__m128i r, __m128i g, __m128i b, short kR, short kG, short kB) {
  const __m128i sum = _mm_add_epi16(
      _mm_add_epi16(_mm_mulhi_epi16(_mm_slli_epi16(r, 5), _mm_set1_epi16(kR)),
                    _mm_mulhi_epi16(_mm_slli_epi16(g, 5), _mm_set1_epi16(kG))),
      _mm_mulhi_epi16(_mm_slli_epi16(b, 5), _mm_set1_epi16(kB)));
  return _mm_srai_epi16(_mm_add_epi16(sum, _mm_set1_epi16(128 * 64 + 32)), 6);
}

// Sixteen columns of one row pair: sixteen luma samples per row, eight of each chroma.
inline void convertBlock(const std::uint8_t* row0, const std::uint8_t* row1, std::uint8_t* y0,
                         std::uint8_t* y1, std::uint8_t* u, std::uint8_t* v) {
  const Channels a0 = split(row0), b0 = split(row0 + 32);
  const Channels a1 = split(row1), b1 = split(row1 + 32);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(y0), _mm_packus_epi16(luma(a0), luma(b0)));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(y1), _mm_packus_epi16(luma(a1), luma(b1)));
  const __m128i r = blockSums(a0.r, a1.r, b0.r, b1.r);
  const __m128i g = blockSums(a0.g, a1.g, b0.g, b1.g);
  const __m128i b = blockSums(a0.b, a1.b, b0.b, b1.b);
  const __m128i cb = chroma(r, g, b, cbR, cbG, cbB);
  const __m128i cr = chroma(r, g, b, crR, crG, crB);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(u), _mm_packus_epi16(cb, cb));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(v), _mm_packus_epi16(cr, cr));
}

constexpr int blockWidth = 16;
#else
constexpr int blockWidth = 0;
#endif

}  // namespace

void bgraToYuv709(const std::uint8_t* bgra, int bgraStride, int width, int height,
                  const YuvPlanes& out) {
  for (int y = 0; y < height; y += 2) {
    const std::uint8_t* row0 = bgra + static_cast<std::ptrdiff_t>(y) * bgraStride;
    // An odd last row pairs with itself; its second luma row is written over the first.
    const int y1Index = std::min(y + 1, height - 1);
    const std::uint8_t* row1 = bgra + static_cast<std::ptrdiff_t>(y1Index) * bgraStride;
    std::uint8_t* lumaRow0 = out.y + static_cast<std::ptrdiff_t>(y) * out.yStride;
    std::uint8_t* lumaRow1 = out.y + static_cast<std::ptrdiff_t>(y1Index) * out.yStride;
    std::uint8_t* uRow = out.u + static_cast<std::ptrdiff_t>(y / 2) * out.uStride;
    std::uint8_t* vRow = out.v + static_cast<std::ptrdiff_t>(y / 2) * out.vStride;
    int x = 0;
#if defined(__SSE2__)
    for (; x + blockWidth <= width; x += blockWidth)
      convertBlock(row0 + 4 * x, row1 + 4 * x, lumaRow0 + x, lumaRow1 + x, uRow + x / 2,
                   vRow + x / 2);
#endif
    convertTail(row0, row1, x, width, lumaRow0, lumaRow1, uRow, vRow);
  }
}

}  // namespace vorn
