// SPDX-License-Identifier: GPL-3.0-or-later
// The sound the recogniser hears: cleaned of steady noise where the voice is buried in it,
// and how late that cleaning hands it out.
#include "cut/Denoise.h"
#include "cut/SoundLevels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace vorn::cut {
namespace {

// 1.5 s of hiss with a 440 Hz tone from 0.5 to 0.6 s, 12 dB over it.
Pcm hissWithABurst() {
  Pcm pcm;
  std::minstd_rand random(7);
  std::uniform_int_distribution<int> hiss(-1500, 1500);
  for (int i = 0; i < 24000; ++i) {
    const double t = double(i) / Pcm::kRate;
    const bool burst = t >= 0.5 && t < 0.6;
    pcm.samples.push_back(std::int16_t(hiss(random) + (burst ? 8000 * std::sin(2 * M_PI * 440 * t) : 0)));
  }
  return pcm;
}

std::size_t firstAbove(const Pcm& pcm, int level) {
  for (std::size_t i = 0; i < pcm.samples.size(); ++i)
    if (std::abs(pcm.samples[i]) > level) return i;
  return pcm.samples.size();
}

double rms(const Pcm& pcm, std::size_t from, std::size_t to) {
  double power = 0;
  for (std::size_t i = from; i < to; ++i) power += double(pcm.samples[i]) * pcm.samples[i];
  return std::sqrt(power / double(to - from));
}

TEST(DenoiseTest, aBuriedVoiceIsHeardCleanedAtItsOwnTimes) {
  const Pcm take = hissWithABurst();
  const SoundLevels levels = SoundLevels::of(take);
  ASSERT_FALSE(voiceStandsClear(levels));
  const Listening listening = forListening(take, levels);
  const Pcm heard = onTime(listening);
  ASSERT_EQ(heard.samples.size(), take.samples.size());
  EXPECT_LT(rms(heard, 12000, 24000), rms(take, 12000, 24000)) << "the hiss is taken down";
  const long moved = long(firstAbove(heard, 3000)) - long(firstAbove(take, 3000));
  EXPECT_LE(std::abs(moved), 16) << "back on time, the tone starts within a millisecond of where it did";
  const long late = long(firstAbove(listening.pcm, 3000)) - long(firstAbove(take, 3000));
  EXPECT_NEAR(double(late) / Pcm::kRate, listening.late, 0.001) << "as late as said";
}

}  // namespace
}  // namespace vorn::cut
