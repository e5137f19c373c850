// SPDX-License-Identifier: GPL-3.0-or-later
// Telling a music bed from a broad noise by the spectrum of the take's quiet.
#include "cut/NoiseFlatness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

namespace vorn::cut {
namespace {

// Three seconds of a chord (A minor, with its octave) under `hiss` of white noise, and a
// louder stretch from 1 to 2 s standing in for the voice.
Pcm chordUnderHiss(double chord, int hiss) {
  Pcm pcm;
  std::minstd_rand random(3);
  std::uniform_int_distribution<int> noise(-hiss, hiss);
  for (int i = 0; i < 3 * Pcm::kRate; ++i) {
    const double t = double(i) / Pcm::kRate;
    double value = hiss ? noise(random) : 0;
    for (const double hz : {220.0, 261.6, 329.6, 440.0}) value += chord * std::sin(2 * std::numbers::pi * hz * t);
    if (t >= 1 && t < 2) value += 8000 * std::sin(2 * std::numbers::pi * 150 * t);
    pcm.samples.push_back(std::int16_t(std::clamp(value, -32768.0, 32767.0)));
  }
  return pcm;
}

TEST(NoiseFlatnessTest, aMusicBedIsTonalAFanOrHissIsBroadAndDigitalSilenceIsNeither) {
  EXPECT_LT(noiseFlatness(chordUnderHiss(1500, 0)), 0.1) << "a bare music bed";
  EXPECT_LT(noiseFlatness(chordUnderHiss(1500, 50)), 0.1) << "music with a microphone's faint hiss";
  EXPECT_GT(noiseFlatness(chordUnderHiss(0, 1500)), 0.5) << "hiss";
  EXPECT_GT(noiseFlatness(chordUnderHiss(100, 1500)), 0.3) << "hiss with a faint hum";
  EXPECT_EQ(noiseFlatness(chordUnderHiss(0, 0)), 0) << "a voice over digital silence";
  EXPECT_EQ(noiseFlatness(Pcm{}), 0);
}

}  // namespace
}  // namespace vorn::cut
