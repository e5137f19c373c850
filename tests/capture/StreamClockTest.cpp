// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/StreamClock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

namespace vorn {
namespace {

constexpr int rate = 48000;
constexpr int frames = 480;  // 10 ms reads
constexpr double readSeconds = double(frames) / rate;

// Feeds `reads` reads of a source whose frame `index` was captured at `captured(index)`,
// each arriving `delay(n)` after its last frame; checks that no sample is stamped after it
// arrived and returns the largest step ahead between two reads' stamps.
struct Stream {
  StreamClock clock{rate};
  std::int64_t received = 0;
  double previousStamp = 0;
  double worstLeap = 0;
  std::mt19937 random{3};

  void feed(int reads, const std::function<double(std::int64_t)>& captured,
            const std::function<double(int)>& delay) {
    std::uniform_real_distribution<double> jitter(0.0, 0.005);
    for (int n = 0; n < reads; ++n) {
      const double arrival = captured(received + frames - 1) + 0.003 + jitter(random) + delay(n);
      clock.arrived(arrival, frames);
      received += frames;
      const double stamp = clock.timeOf(received - frames);
      ASSERT_LE(clock.timeOf(received - 1), arrival) << "a sample stamped after it arrived";
      if (previousStamp != 0) worstLeap = std::max(worstLeap, stamp - previousStamp - readSeconds);
      previousStamp = stamp;
    }
  }
  double error(const std::function<double(std::int64_t)>& captured) const {
    return clock.timeOf(received) - captured(received);
  }
};

double steady(std::int64_t index) { return 100.0 + double(index) / rate; }

TEST(StreamClockTest, deliveriesLateForSecondsNeverMakeTheStampsLeapAhead) {
  Stream stream;
  stream.feed(1000, steady, [](int) { return 0.0; });
  // A starved sound server: twelve seconds of deliveries 114 ms late, then on time again.
  stream.feed(1200, steady, [](int) { return 0.114; });
  stream.feed(1000, steady, [](int) { return 0.0; });
  EXPECT_LT(stream.worstLeap, 0.001);
  EXPECT_LT(std::abs(stream.error(steady)), 0.01);
}

TEST(StreamClockTest, followsDriftSmoothlyAndASourceThatPausedOnceAQuarterMinuteAgrees) {
  Stream stream;
  // A sound card 200 ppm slow: its frames span more time than their count says.
  auto drifting = [](std::int64_t index) { return 100.0 + double(index) / rate * 1.0002; };
  stream.feed(6000, drifting, [](int) { return 0.0; });
  EXPECT_LT(stream.worstLeap, 0.001);
  EXPECT_LT(std::abs(stream.error(drifting)), 0.01);

  // The source stops for a second and goes on: its sound after the pause is later.
  const std::int64_t pausedAt = stream.received;
  auto paused = [&](std::int64_t index) { return drifting(index) + (index >= pausedAt ? 1.0 : 0.0); };
  stream.feed(2000, paused, [](int) { return 0.0; });
  EXPECT_LT(std::abs(stream.error(paused)), 0.01);
}

TEST(StreamClockTest, aSourceHandingOverSecondsAtOnceIsStampedSteadily) {
  Stream stream;
  // Like PulseAudio's sine source: two seconds of sound handed over every two seconds, the
  // first block at once. Each 10 ms read of a block arrives when the block does.
  auto blockArrival = [](std::int64_t index) { return 100.0 + std::floor(double(index) / rate / 2.0) * 2.0; };
  auto captured = [](std::int64_t index) { return 98.0 + double(index) / rate; };
  stream.feed(3000, blockArrival, [](int) { return 0.0; });
  EXPECT_LT(stream.worstLeap, 0.001);
  EXPECT_LT(std::abs(stream.error(captured)), 0.02) << "the quickest delivery says when";
}

}  // namespace
}  // namespace vorn
