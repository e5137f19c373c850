// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Scaler.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

using namespace vorn;

namespace {

// Whether the processor marks the upper halves of its vector registers as in use (XINUSE,
// read with XGETBV 1); nothing when it can't tell.
std::optional<bool> upperHalvesInUse() {
#if defined(__x86_64__)
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (!__get_cpuid(1, &a, &b, &c, &d) || !(c & bit_OSXSAVE)) return std::nullopt;
  if (!__get_cpuid_count(0xD, 1, &a, &b, &c, &d) || !(a & (1u << 2))) return std::nullopt;
  unsigned low = 0, high = 0;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(1));
  constexpr unsigned upperYmm = 1u << 2, upperZmm = 1u << 6;
  return (low & (upperYmm | upperZmm)) != 0;
#else
  return std::nullopt;
#endif
}

}  // namespace

// Dirty upper halves make every later SSE instruction on the thread slow (the compositor's
// blending, the backdrop): the vector kernels must leave them clean, also when they end with a
// few pixels the portable ones do. Widths not a multiple of any vector leave such tails; the
// sizes take every kernel: blending rows, halving, sparse boxes, filtering columns.
TEST(Scaler, LeavesTheUpperVectorHalvesClean) {
  const std::optional<bool> before = upperHalvesInUse();
  if (!before) GTEST_SKIP() << "the processor doesn't report it";
  if (*before) GTEST_SKIP() << "already in use before the scaler ran";
  FrameBuffer source(300, 200);
  std::memset(source.data(), 0x7f, size_t(source.stride()) * size_t(source.height()));
  struct Case {
    int width, height;
    Scaler::Reduction reduction;
  };
  for (const Case& c : {Case{203, 150, Scaler::Reduction::box},     // shrunk, not halved
                        Case{61, 43, Scaler::Reduction::box},       // halved twice
                        Case{61, 43, Scaler::Reduction::sparse},    // sparse boxes
                        Case{611, 433, Scaler::Reduction::box}}) {  // enlarged
    const std::string size = std::to_string(c.width) + " × " + std::to_string(c.height);
    FrameBuffer target(c.width, c.height);
    Scaler scaler(c.reduction);
    ASSERT_TRUE(scaler.prepare(source, {0, 0, 300, 200}, {0, 0, double(c.width), double(c.height)},
                               {0, 0, c.width, c.height}, false));
    ASSERT_FALSE(*upperHalvesInUse()) << size << ", reducing";
    for (int y = 0; y < c.height; ++y) {
      scaler.beginRow(y);
      scaler.columns(0, c.width, target.row(y));
      ASSERT_FALSE(*upperHalvesInUse()) << size << ", row " << y;
    }
    EXPECT_EQ(target.row(c.height / 2)[c.width / 2 * 4], 0x7f) << size;
  }
}
