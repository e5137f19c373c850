// SPDX-License-Identifier: GPL-3.0-or-later
// Reading a take only around the segments a reel keeps, jumping over long gaps.
#include "SpokenTake.h"

#include "cut/TakeReader.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

namespace vorn::cut {
namespace {

// 20 s of picture (keyframe every second) and a tone.
std::string twentySeconds() {
  const std::string path = test::scratch() + "/twenty.mp4";
  test::runCommand({"ffmpeg", "-v",      "error",   "-y",
                    "-f",     "lavfi",   "-i",      "testsrc=s=320x568:r=30:d=20",
                    "-f",     "lavfi",   "-i",      "sine=f=440:r=48000:d=20",
                    "-c:v",   "libx264", "-preset", "ultrafast",
                    "-g",     "30",      "-c:a",    "aac",
                    path});
  return path;
}

TEST(TakeReaderTest, onlyFramesAroundTheSegmentsComeInRisingOrder) {
  const std::vector<Span> segments = {{1, 2}, {12, 13}};
  TakeReader reader(twentySeconds(), segments);
  av::Frame frame = av::makeFrame();
  int pictures = 0;
  double lastPicture = -1, lastSound = -1, firstLatePicture = 100;
  for (;;) {
    const TakeReader::Stream stream = reader.next(frame.get());
    if (stream == TakeReader::Stream::end) break;
    const bool picture = stream == TakeReader::Stream::video;
    const double time =
        frame->pts * av_q2d(picture ? reader.videoTimeBase() : reader.audioTimeBase());
    const bool near = (time > 0.7 && time < 2.25) || (time > 11.7 && time < 13.25);
    EXPECT_TRUE(near) << (picture ? "picture" : "sound") << " at " << time;
    double& last = picture ? lastPicture : lastSound;
    EXPECT_GT(time, last);
    last = time;
    if (picture) {
      ++pictures;
      if (time > 11) firstLatePicture = std::min(firstLatePicture, time);
    }
    av_frame_unref(frame.get());
  }
  EXPECT_GE(pictures, 60);
  EXPECT_LE(pictures, 90);
  EXPECT_LE(firstLatePicture, 12.0) << "the second segment is found whole after the seek";
  EXPECT_GT(lastSound, 13);
}

TEST(TakeReaderTest, aTakeWithoutPictureOrSoundIsRefused) {
  EXPECT_THROW(TakeReader(test::silentTake("nosound", 1, false), {{0, 1}}), CutError);
}

}  // namespace
}  // namespace vorn::cut
