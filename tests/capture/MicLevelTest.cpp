#include <gtest/gtest.h>

#include <cmath>

#include "capture/MicLevel.h"

using namespace vorn;

namespace {

AudioBuffer sine(double amplitude, int frames = 480) {
  AudioBuffer buffer;
  for (int i = 0; i < frames; ++i)
    buffer.samples.push_back(float(amplitude * std::sin(2 * M_PI * 1000 * i / 48000.0)));
  return buffer;
}

}  // namespace

TEST(MicLevel, LevelIsLinearInDecibelsBetweenMinus50And0) {
  EXPECT_FLOAT_EQ(levelForPower(-25), 0.5f);
  EXPECT_FLOAT_EQ(levelForPower(-50), 0.0f);
  EXPECT_FLOAT_EQ(levelForPower(0), 1.0f);
  EXPECT_FLOAT_EQ(levelForPower(-10), 0.8f);
}

TEST(MicLevel, LevelIsClampedAtBothEnds) {
  EXPECT_FLOAT_EQ(levelForPower(-60), 0.0f);
  EXPECT_FLOAT_EQ(levelForPower(3), 1.0f);
  EXPECT_FLOAT_EQ(levelForPower(zeroPowerDb), 0.0f);
}

TEST(MicLevel, AllZeroBufferIsBelowMinus300Decibels) {
  AudioBuffer zeros;
  zeros.samples.assign(480, 0.0f);
  EXPECT_LT(averagePowerDb(zeros), silentPowerDb);
  EXPECT_EQ(averagePowerDb(zeros), zeroPowerDb);
}

TEST(MicLevel, TheFaintestRealSignalIsNotDigitalSilence) {
  AudioBuffer faint;
  faint.samples.assign(480, 0.0f);
  faint.samples[7] = 1e-44f;  // a denormal: nearly nothing, but not zero
  EXPECT_GE(averagePowerDb(faint), silentPowerDb);
}

TEST(MicLevel, FullScaleSineIsMinus3Decibels) {
  EXPECT_NEAR(averagePowerDb(sine(1.0)), -3.01, 0.05);
  EXPECT_NEAR(averagePowerDb(sine(0.1)), -23.01, 0.05);
}

TEST(MicLevel, OnlyTheFirstChannelCounts) {
  AudioBuffer stereo;
  stereo.channels = 2;
  for (int i = 0; i < 480; ++i) {
    stereo.samples.push_back(0.0f);
    stereo.samples.push_back(0.9f);
  }
  EXPECT_EQ(averagePowerDb(stereo), zeroPowerDb);
}

TEST(MicLevel, EmptyBufferCountsAsSilence) {
  EXPECT_EQ(averagePowerDb(AudioBuffer{}), zeroPowerDb);
}
