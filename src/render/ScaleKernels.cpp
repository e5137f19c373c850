// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/ScaleKernels.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vorn {
namespace {

void blendRowsPortable(std::uint8_t* dst, const std::uint8_t* top, const std::uint8_t* bottom,
                       int bytes, int fraction) {
  const int keep = 256 - fraction;
  for (int i = 0; i < bytes; ++i) {
    dst[i] = std::uint8_t((top[i] * keep + bottom[i] * fraction + 128) >> 8);
  }
}

void boxPixel(std::uint8_t* dst, const std::uint8_t* src, std::ptrdiff_t stride) {
  for (int c = 0; c < 4; ++c) {
    dst[c] = std::uint8_t((src[c] + src[4 + c] + src[stride + c] + src[stride + 4 + c] + 2) >> 2);
  }
}

void halveRowPortable(const std::uint8_t* src, std::ptrdiff_t stride, std::uint8_t* dst,
                      int width) {
  for (int i = 0; i < width; ++i) boxPixel(dst + 4 * i, src + 8 * i, stride);
}

void boxEveryPortable(const std::uint8_t* src, std::ptrdiff_t stride, int step, std::uint8_t* dst,
                      int width) {
  for (int i = 0; i < width; ++i) boxPixel(dst + 4 * i, src + std::ptrdiff_t(4) * step * i, stride);
}

void filterColumnsPortable(std::uint8_t* dst, const std::uint8_t* src, int count, int x, int dx) {
  for (int i = 0; i < count; ++i, x += dx) {
    const std::uint8_t* left = src + 4 * (x >> 16);
    const int fraction = (x >> 8) & 255;
    for (int c = 0; c < 4; ++c) {
      dst[4 * i + c] =
          std::uint8_t((left[c] * (256 - fraction) + left[4 + c] * fraction + 128) >> 8);
    }
  }
}

#if defined(__SSE2__)
__m128i load(const std::uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

void store(std::uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Eight channels blended in 16 bits: at most 255 * 256 + 128, so nothing overflows.
__m128i blendWords(__m128i top, __m128i bottom, __m128i keep, __m128i take) {
  const __m128i sum = _mm_add_epi16(_mm_mullo_epi16(top, keep), _mm_mullo_epi16(bottom, take));
  return _mm_srli_epi16(_mm_add_epi16(sum, _mm_set1_epi16(128)), 8);
}

void blendRowsSse2(std::uint8_t* dst, const std::uint8_t* top, const std::uint8_t* bottom,
                   int bytes, int fraction) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i keep = _mm_set1_epi16(short(256 - fraction));
  const __m128i take = _mm_set1_epi16(short(fraction));
  int i = 0;
  for (; i + 16 <= bytes; i += 16) {
    const __m128i t = load(top + i);
    const __m128i b = load(bottom + i);
    const __m128i low =
        blendWords(_mm_unpacklo_epi8(t, zero), _mm_unpacklo_epi8(b, zero), keep, take);
    const __m128i high =
        blendWords(_mm_unpackhi_epi8(t, zero), _mm_unpackhi_epi8(b, zero), keep, take);
    store(dst + i, _mm_packus_epi16(low, high));
  }
  blendRowsPortable(dst + i, top + i, bottom + i, bytes - i, fraction);
}

__m128i evenPixels(__m128i a, __m128i b) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0x88));
}

__m128i oddPixels(__m128i a, __m128i b) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0xdd));
}

// The rounded means of four 2 × 2 boxes whose pixel pairs (left, right, left, right) are in
// top0, top1 and bottom0, bottom1. Averaging the columns and then the two averages rounds up
// twice: one too high exactly where the averages' sum is odd and a column's sum was odd too.
__m128i boxMeans(__m128i top0, __m128i bottom0, __m128i top1, __m128i bottom1) {
  const __m128i columns0 = _mm_avg_epu8(top0, bottom0);
  const __m128i columns1 = _mm_avg_epu8(top1, bottom1);
  const __m128i odd0 = _mm_xor_si128(top0, bottom0);
  const __m128i odd1 = _mm_xor_si128(top1, bottom1);
  const __m128i left = evenPixels(columns0, columns1);
  const __m128i right = oddPixels(columns0, columns1);
  const __m128i oddColumn = _mm_or_si128(evenPixels(odd0, odd1), oddPixels(odd0, odd1));
  const __m128i over = _mm_and_si128(_mm_and_si128(oddColumn, _mm_xor_si128(left, right)),
                                     _mm_set1_epi8(1));
  return _mm_sub_epi8(_mm_avg_epu8(left, right), over);
}

void halveRowSse2(const std::uint8_t* src, std::ptrdiff_t stride, std::uint8_t* dst, int width) {
  int i = 0;
  for (; i + 4 <= width; i += 4) {
    const std::uint8_t* top = src + 8 * i;
    const std::uint8_t* bottom = top + stride;
    store(dst + 4 * i, boxMeans(load(top), load(bottom), load(top + 16), load(bottom + 16)));
  }
  halveRowPortable(src + 8 * i, stride, dst + 4 * i, width - i);
}

// The pixel pair at `p` and the one `distance` bytes on.
__m128i twoPairs(const std::uint8_t* p, std::ptrdiff_t distance) {
  return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + distance)));
}

void boxEverySse2(const std::uint8_t* src, std::ptrdiff_t stride, int step, std::uint8_t* dst,
                  int width) {
  const std::ptrdiff_t next = std::ptrdiff_t(4) * step;
  int i = 0;
  for (; i + 4 <= width; i += 4) {
    const std::uint8_t* p = src + next * i;
    const std::uint8_t* q = p + 2 * next;
    store(dst + 4 * i, boxMeans(twoPairs(p, next), twoPairs(p + stride, next), twoPairs(q, next),
                                twoPairs(q + stride, next)));
  }
  boxEveryPortable(src + next * i, stride, step, dst + 4 * i, width - i);
}
#endif

#if defined(__x86_64__)
__attribute__((target("avx2"))) __m256i load256(const std::uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// Both rows made signed (minus 128) meet the weights (256 - f, f) in one 8-bit multiply-add;
// 0x8080 then puts back the 128 × 256 taken and adds the rounding.
__attribute__((target("avx2"))) void blendRowsAvx2(std::uint8_t* dst, const std::uint8_t* top,
                                                   const std::uint8_t* bottom, int bytes,
                                                   int fraction) {
  const __m256i weights = _mm256_set1_epi16(short((fraction << 8) | (256 - fraction)));
  const __m256i bias = _mm256_set1_epi8(char(0x80));
  const __m256i restore = _mm256_set1_epi16(short(0x8080));
  int i = 0;
  for (; i + 32 <= bytes; i += 32) {
    const __m256i t = _mm256_sub_epi8(load256(top + i), bias);
    const __m256i b = _mm256_sub_epi8(load256(bottom + i), bias);
    const __m256i low = _mm256_maddubs_epi16(weights, _mm256_unpacklo_epi8(t, b));
    const __m256i high = _mm256_maddubs_epi16(weights, _mm256_unpackhi_epi8(t, b));
    const __m256i blended = _mm256_packus_epi16(_mm256_srli_epi16(_mm256_add_epi16(low, restore), 8),
                                                _mm256_srli_epi16(_mm256_add_epi16(high, restore), 8));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), blended);
  }
  // No tail call with dirty upper halves: every SSE instruction after it would pay.
  _mm256_zeroupper();
  blendRowsPortable(dst + i, top + i, bottom + i, bytes - i, fraction);
}

// The rounded means of four 2 × 2 boxes, 16 bits a channel: each lane of `top` and `bottom`
// holds two boxes' pixel pairs (left, right, left, right). One 8-bit multiply-add by ones sums
// each pair once its channels sit side by side.
__attribute__((target("avx2"))) __m256i boxMeanWords(__m256i top, __m256i bottom) {
  const __m256i sameChannels =
      _mm256_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15,
                       0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
  const __m256i ones = _mm256_set1_epi8(1);
  const __m256i upper = _mm256_maddubs_epi16(_mm256_shuffle_epi8(top, sameChannels), ones);
  const __m256i lower = _mm256_maddubs_epi16(_mm256_shuffle_epi8(bottom, sameChannels), ones);
  const __m256i sums = _mm256_add_epi16(upper, lower);
  // (s * 2^13 * 2 / 2^15 + 1) / 2: (s + 2) >> 2 in one instruction.
  return _mm256_mulhrs_epi16(sums, _mm256_set1_epi16(1 << 13));
}

// Eight pixels from the means of boxes 0 to 3 and 4 to 7 (lanes holding 0, 1 | 2, 3).
__attribute__((target("avx2"))) void storeMeans(std::uint8_t* dst, __m256i first, __m256i second) {
  const __m256i packed = _mm256_packus_epi16(first, second);  // 0, 1, 4, 5 | 2, 3, 6, 7
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst),
                      _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0)));
}

__attribute__((target("avx2"))) void halveRowAvx2(const std::uint8_t* src, std::ptrdiff_t stride,
                                                  std::uint8_t* dst, int width) {
  int i = 0;
  for (; i + 8 <= width; i += 8) {
    const std::uint8_t* top = src + 8 * i;
    const std::uint8_t* bottom = top + stride;
    storeMeans(dst + 4 * i, boxMeanWords(load256(top), load256(bottom)),
               boxMeanWords(load256(top + 32), load256(bottom + 32)));
  }
  _mm256_zeroupper();
  halveRowSse2(src + 8 * i, stride, dst + 4 * i, width - i);
}

// Four pixels at a time: one gather fetches the four source pairs, 16-bit multiply-adds blend
// them (weights up to 256 do not fit the 8-bit multiply-add).
__attribute__((target("avx2"))) void filterColumnsAvx2(std::uint8_t* dst, const std::uint8_t* src,
                                                       int count, int x, int dx) {
  const __m128i steps = _mm_setr_epi32(0, dx, 2 * dx, 3 * dx);
  // Within each 128-bit lane, two pairs (8 bytes each: left pixel, right pixel) become
  // channel-interleaved: b0 b1 g0 g1 r0 r1 a0 a1.
  const __m256i interleave = _mm256_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15,
                                              0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
  const __m256i firstTwo = _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1);
  const __m256i lastTwo = _mm256_setr_epi32(2, 2, 2, 2, 3, 3, 3, 3);
  const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 0, 0, 0, 0);
  const __m256i half = _mm256_set1_epi32(128);
  const __m128i fractionMask = _mm_set1_epi32(255);
  int i = 0;
  for (; i + 4 <= count; i += 4, x += 4 * dx) {
    const __m128i positions = _mm_add_epi32(_mm_set1_epi32(x), steps);
    const __m128i indices = _mm_srai_epi32(positions, 16);
    const __m256i pairs = _mm256_shuffle_epi8(
        _mm256_i32gather_epi64(reinterpret_cast<const long long*>(src), indices, 4), interleave);
    const __m128i fractions = _mm_and_si128(_mm_srai_epi32(positions, 8), fractionMask);
    // Per pixel the 16-bit pair (256 - f, f).
    const __m128i weights = _mm_or_si128(_mm_sub_epi32(_mm_set1_epi32(256), fractions),
                                         _mm_slli_epi32(fractions, 16));
    const __m256i weights256 = _mm256_castsi128_si256(weights);
    const __m256i low = _mm256_madd_epi16(_mm256_cvtepu8_epi16(_mm256_castsi256_si128(pairs)),
                                          _mm256_permutevar8x32_epi32(weights256, firstTwo));
    const __m256i high = _mm256_madd_epi16(_mm256_cvtepu8_epi16(_mm256_extracti128_si256(pairs, 1)),
                                           _mm256_permutevar8x32_epi32(weights256, lastTwo));
    const __m256i words = _mm256_packs_epi32(_mm256_srli_epi32(_mm256_add_epi32(low, half), 8),
                                             _mm256_srli_epi32(_mm256_add_epi32(high, half), 8));
    // Lanes now hold pixels (0, 2) and (1, 3); put them back in order.
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(words, words), inOrder);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 4 * i), _mm256_castsi256_si128(bytes));
  }
  // The compiler leaves the upper halves dirty before a tail call, and every SSE instruction
  // that runs afterwards would pay for it: a preview frame took 40 % longer.
  _mm256_zeroupper();
  filterColumnsPortable(dst + 4 * i, src, count - i, x, dx);
}
#endif

const ScaleKernels portable{"portable", blendRowsPortable, halveRowPortable, boxEveryPortable,
                            filterColumnsPortable};
#if defined(__SSE2__)
const ScaleKernels sse2{"sse2", blendRowsSse2, halveRowSse2, boxEverySse2, filterColumnsPortable};
#endif
#if defined(__x86_64__)
const ScaleKernels avx2{"avx2", blendRowsAvx2, halveRowAvx2, boxEverySse2, filterColumnsAvx2};
#endif

}  // namespace

const std::vector<const ScaleKernels*>& runnableScaleKernels() {
  static const std::vector<const ScaleKernels*> runnable = [] {
    std::vector<const ScaleKernels*> kernels{&portable};
#if defined(__SSE2__)
    kernels.push_back(&sse2);
#endif
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) kernels.push_back(&avx2);
#endif
    return kernels;
  }();
  return runnable;
}

}  // namespace vorn
