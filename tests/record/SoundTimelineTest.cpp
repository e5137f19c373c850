// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/SoundTimeline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace vorn {
namespace {

constexpr int rate = 48000;
constexpr int frames = 480;  // 10 ms buffers, as the capture hands them over
const double omega = 2 * M_PI * 440 / rate;

// A track built as the encoder builds it from a steady sine: counts the silences and cuts
// that enter it and how far the sound strays from a sine (x[n] = 2cos(ω) x[n-1] − x[n-2]).
struct Track {
  SoundTimeline timeline;
  std::int64_t position = 0;
  std::int64_t silence = 0, cut = 0;
  double previous = 0, beforePrevious = 0, worstBreak = 0;
  std::int64_t sine = 0;  // the source's next sample

  void add(std::int64_t stampedAt) {
    std::vector<float> buffer(frames);
    for (int i = 0; i < frames; ++i) buffer[std::size_t(i)] = float(0.5 * std::sin(omega * double(sine + i)));
    sine += frames;
    const SoundTimeline::Placement placed = timeline.place(stampedAt, position, frames);
    silence += placed.silence;
    cut += placed.skip;
    position += placed.silence;
    const std::vector<float> kept =
        SoundTimeline::stretched(buffer.data() + placed.skip, frames - placed.skip, 1, placed.stretch);
    for (const float x : kept) {
      if (position >= 2 && placed.silence == 0)
        worstBreak = std::max(worstBreak, std::abs(x - (2 * std::cos(omega) * previous - beforePrevious)));
      beforePrevious = previous;
      previous = x;
      ++position;
    }
  }
};

TEST(SoundTimelineTest, stampsWanderingOnABusyMachineNeverPutASilenceOrACutIntoTheSound) {
  Track track;
  std::mt19937 random(7);
  std::uniform_int_distribution<int> step(-48, 48);
  std::bernoulli_distribution late(0.02);
  double wander = 0;  // a random walk of ±20 ms, plus deliveries up to 15 ms late
  for (int n = 0; n < 6000 * 10; ++n) {  // ten minutes
    if (n > 0) wander = std::clamp(wander + step(random), -960.0, 960.0);
    const std::int64_t truth = std::int64_t(n) * frames;
    track.add(truth + std::llround(wander) + (n > 0 && late(random) ? 720 : 0));
  }
  EXPECT_EQ(track.silence, 0);
  EXPECT_EQ(track.cut, 0);
  EXPECT_LT(track.worstBreak, 0.01) << "the sine runs on through every seam";
  EXPECT_LT(std::abs(double(track.position - track.sine)), rate * 0.025) << "and stays with the stamps";
}

TEST(SoundTimelineTest, aSoundCardClockDriftingFromTheHostsIsFollowedWithoutASeam) {
  for (const double ppm : {-300.0, 100.0}) {
    Track track;
    double stamp = 0;
    for (int n = 0; n < 6000 * 10; ++n) {
      track.add(std::llround(stamp));
      stamp += frames * (1 + ppm * 1e-6);
    }
    EXPECT_EQ(track.silence, 0) << ppm;
    EXPECT_EQ(track.cut, 0) << ppm;
    EXPECT_LT(track.worstBreak, 0.01) << ppm;
    EXPECT_LT(std::abs(double(track.position) - stamp), rate * 0.007) << ppm << " ppm: 10 minutes in, within 7 ms";
  }
}

TEST(SoundTimelineTest, aRealGapIsSilenceInItsPlaceAndAnOverlapIsCut) {
  Track track;
  for (int n = 0; n < 100; ++n) track.add(std::int64_t(n) * frames);
  track.add(100 * frames + rate * 3 / 10);  // 300 ms of sound never came
  EXPECT_EQ(track.silence, rate * 3 / 10);
  EXPECT_EQ(track.position, 101 * frames + rate * 3 / 10);
  track.add(101 * frames + rate * 3 / 10 - rate / 5);  // stamped 200 ms back: sent twice
  EXPECT_EQ(track.cut, frames) << "a buffer wholly behind the track is left out";
}

}  // namespace
}  // namespace vorn
