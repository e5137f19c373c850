// SPDX-License-Identifier: GPL-3.0-or-later
// The reel's loudness meter against the figures EBU R128 fixes, and the gain it asks for.
#include "cut/Loudness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace vorn::cut {
namespace {

// A 997 Hz tone at `peak` of full scale for `seconds`, after `silence` seconds of nothing.
Pcm tone(double peak, double seconds, double silence = 0) {
  Pcm pcm;
  const auto quiet = std::size_t(silence * Pcm::kRate);
  pcm.samples.resize(quiet + std::size_t(seconds * Pcm::kRate));
  for (std::size_t i = quiet; i < pcm.samples.size(); ++i)
    pcm.samples[i] = std::int16_t(
        std::lround(32767 * peak * std::sin(2 * std::numbers::pi * 997 * double(i) / Pcm::kRate)));
  return pcm;
}

TEST(LoudnessTest, aToneOfKnownLevelMeasuresAsTheStandardSays) {
  // A full-scale 1 kHz sine in one channel is −3.01 LUFS; this one is 20 dB under it.
  const Pcm pcm = tone(0.1, 5);
  EXPECT_NEAR(integratedLoudness(pcm.samples, Pcm::kRate), -23.01, 0.2);
}

TEST(LoudnessTest, silenceAroundTheSoundIsGatedOut) {
  // Ungated, the 20 s of silence would pull it down to about −30; the blocks that straddle
  // the tone's start still count, a little under it.
  const Pcm pcm = tone(0.1, 5, 20);
  EXPECT_NEAR(integratedLoudness(pcm.samples, Pcm::kRate), -23.01, 0.3);
  EXPECT_EQ(integratedLoudness(tone(0, 5).samples, Pcm::kRate), -70);
  EXPECT_EQ(integratedLoudness({}, Pcm::kRate), -70) << "shorter than one block";
}

TEST(LoudnessTest, theGainBringsTheKeptSoundToPlatformLoudnessInStereo) {
  const Pcm pcm = tone(0.01, 10);  // about −43 LUFS
  const double measured = integratedLoudness(pcm.samples, Pcm::kRate);
  EXPECT_NEAR(reelGainDb(pcm, {{1, 4}, {6, 9}}), -14 - (measured + 3.01), 0.2);
  EXPECT_EQ(reelGainDb(tone(0, 10), {{1, 4}}), 0) << "nothing to measure, nothing to raise";
  EXPECT_EQ(reelGainDb(tone(0.001, 10), {{1, 4}}), 40) << "noise is raised no further";
}

}  // namespace
}  // namespace vorn::cut
