// SPDX-License-Identifier: GPL-3.0-or-later
// The 60 Hz grid the grab and render threads share: both ways of reading it agree.
#include "base/Clock.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

double seconds(steady_clock::time_point t) {
  return std::chrono::duration<double>(t.time_since_epoch()).count();
}

TEST(ClockTest, theGridIsTheSameInTicksAndInSeconds) {
  const nanoseconds offsets[] = {nanoseconds(0), frameTick / 2};
  // From just after boot to a month of uptime, on a tick, just before and just after one.
  for (const long long base : {3'000'000'000LL, 2'592'000'000'000'000LL}) {
    for (const nanoseconds offset : offsets) {
      const nanoseconds tick = frameTick;
      const steady_clock::time_point onTick{nanoseconds(base / tick.count() * tick.count()) + offset};
      for (const nanoseconds nudge : {nanoseconds(0), nanoseconds(-1), nanoseconds(1), tick / 3}) {
        const steady_clock::time_point now = onTick + nudge;
        const steady_clock::time_point next = nextTick(now, offset);
        EXPECT_GT(next, now);
        EXPECT_LE(next - now, frameTick);
        EXPECT_EQ((next.time_since_epoch() - offset) % frameTick, nanoseconds(0));
        // A grab stamped a moment after its deadline names that deadline.
        const double offsetSeconds = std::chrono::duration<double>(offset).count();
        EXPECT_NEAR(tickBefore(seconds(next) + 50e-6, offsetSeconds), seconds(next), 1e-6);
        EXPECT_LE(tickBefore(seconds(now), offsetSeconds), seconds(now) + 1e-9);
        EXPECT_GT(tickBefore(seconds(now), offsetSeconds) + 1.0 / 60, seconds(now) - 1e-6);
      }
    }
  }
}

}  // namespace
}  // namespace vorn
