// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/StreamClock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace vorn {
namespace {

constexpr int rate = 48000;
constexpr int frames = 480;

TEST(StreamClockTest, deliveriesLateForSecondsNeverMakeTheStampsLeapAheadOrPassAnArrival) {
  StreamClock clock(rate);
  std::mt19937 random(3);
  std::uniform_real_distribution<double> jitter(0.0, 0.005);
  std::int64_t received = 0;
  double previous = 0, worstStep = 0;
  for (int n = 0; n < 3000; ++n) {  // 30 s of 10 ms reads
    const double captured = 100.0 + double(received + frames) / rate;
    const bool busy = n >= 1000 && n < 1600;  // six seconds of deliveries 114 ms late
    const double arrival = captured + 0.003 + jitter(random) + (busy ? 0.114 : 0);
    clock.arrived(arrival, frames);
    received += frames;
    const double stamp = clock.timeOf(received - frames);
    EXPECT_LE(clock.timeOf(received - 1), arrival) << "read " << n << ": a sample stamped after it arrived";
    if (n > 0) worstStep = std::max(worstStep, stamp - previous - double(frames) / rate);
    previous = stamp;
  }
  EXPECT_LT(worstStep, 0.001) << "the stamps never leap ahead";
  EXPECT_LT(std::abs(clock.timeOf(received) - (100.0 + double(received) / rate)), 0.01)
      << "and are back with the truth once the deliveries are";
}

TEST(StreamClockTest, aSourceThatPausesIsStampedAfterThePauseAtOnce) {
  StreamClock clock(rate);
  std::int64_t received = 0;
  double now = 50.0;
  for (int n = 0; n < 500; ++n) {
    now += double(frames) / rate;
    clock.arrived(now + 0.004, frames);
    received += frames;
  }
  now += 2.0;  // nothing for two seconds
  for (int n = 0; n < 3; ++n) {
    now += double(frames) / rate;
    clock.arrived(now + 0.004, frames);
    received += frames;
  }
  EXPECT_NEAR(clock.timeOf(received - frames), now - double(frames) / rate, 0.01);
}

}  // namespace
}  // namespace vorn
