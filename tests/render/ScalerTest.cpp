// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Scaler.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

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

// Dirty upper halves make every later SSE instruction on the thread slow (libyuv's kernels,
// the compositor's blending): the vector column filter must leave them clean, also when it
// ends with a few pixels the portable filter does.
TEST(Scaler, LeavesTheUpperVectorHalvesClean) {
  FrameBuffer source(300, 200);
  std::memset(source.data(), 0x7f, size_t(source.stride()) * size_t(source.height()));
  FrameBuffer target(203, 150);  // not a multiple of four pixels wide
  Scaler scaler;
  ASSERT_TRUE(scaler.prepare(source, {0, 0, 300, 200}, {0, 0, 203, 150}, {0, 0, 203, 150}, false));
  const std::optional<bool> before = upperHalvesInUse();
  if (!before) GTEST_SKIP() << "the processor doesn't report it";
  if (*before) GTEST_SKIP() << "already in use before the filter ran";
  for (int y = 0; y < 150; ++y) {
    scaler.beginRow(y);
    scaler.columns(0, 203, target.row(y));
    ASSERT_FALSE(*upperHalvesInUse()) << "row " << y;
  }
  EXPECT_EQ(target.row(75)[100 * 4], 0x7f);
}
