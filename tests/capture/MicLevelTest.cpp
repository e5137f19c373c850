// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cmath>

#include "capture/MicLevel.h"

using namespace vorn;

TEST(MicLevel, levelIsLinearInDecibelsAndClampedAtBothEnds) {
  EXPECT_FLOAT_EQ(levelForPower(-25), 0.5f);
  EXPECT_FLOAT_EQ(levelForPower(-10), 0.8f);
  EXPECT_FLOAT_EQ(levelForPower(-60), 0.0f);
  EXPECT_FLOAT_EQ(levelForPower(3), 1.0f);
  EXPECT_FLOAT_EQ(levelForPower(zeroPowerDb), 0.0f);
}

TEST(MicLevel, powerOfSinesSilenceAndTheFaintestSignal) {
  const auto sine = [](double amplitude) {
    AudioBuffer buffer;
    for (int i = 0; i < 480; ++i)
      buffer.samples.push_back(float(amplitude * std::sin(2 * M_PI * 1000 * i / 48000.0)));
    return buffer;
  };
  EXPECT_NEAR(averagePowerDb(sine(1.0)), -3.01, 0.05);
  EXPECT_NEAR(averagePowerDb(sine(0.1)), -23.01, 0.05);

  AudioBuffer zeros;
  zeros.samples.assign(480, 0.0f);
  EXPECT_EQ(averagePowerDb(zeros), zeroPowerDb);
  EXPECT_LT(zeroPowerDb, silentPowerDb);
  EXPECT_EQ(averagePowerDb(AudioBuffer{}), zeroPowerDb);

  AudioBuffer faint = zeros;
  faint.samples[7] = 1e-44f;  // a denormal: nearly nothing, but not digital silence
  EXPECT_GE(averagePowerDb(faint), silentPowerDb);

  AudioBuffer stereo;  // only the first channel counts
  stereo.channels = 2;
  for (int i = 0; i < 480; ++i) stereo.samples.insert(stereo.samples.end(), {0.0f, 0.9f});
  EXPECT_EQ(averagePowerDb(stereo), zeroPowerDb);
}
