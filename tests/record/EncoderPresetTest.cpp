// SPDX-License-Identifier: GPL-3.0-or-later
// Its own program: VORN_X264_PRESET is read once, before the first encoder opens.

#include "record/VideoEncoder.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace vorn;

TEST(EncoderPresetTest, ForcedPresetHoldsAtEveryRateAndAfterDroppedFrames) {
  ::setenv("VORN_X264_PRESET", "veryfast", 1);
  if (VideoEncoder(30).name().rfind("libx264", 0) != 0) GTEST_SKIP() << "hardware encoder";
  EXPECT_EQ(VideoEncoder(30).name(), "libx264 (veryfast)");
  EXPECT_EQ(VideoEncoder(60).name(), "libx264 (veryfast)");
  VideoEncoder::stepFaster();
  EXPECT_EQ(VideoEncoder(30).name(), "libx264 (veryfast)");
}
