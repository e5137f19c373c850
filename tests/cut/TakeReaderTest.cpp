// SPDX-License-Identifier: GPL-3.0-or-later
// Reading a take only around the segments a reel keeps, jumping over long gaps.
#include "SpokenTake.h"

#include "cut/TakeReader.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vorn::cut {
namespace {

// 20 s of picture and a tone, written as the studio writes a take: fragments, a keyframe
// every second, no B-frames.
std::string twentySeconds() {
  const std::string path = test::scratch() + "/twenty.mp4";
  test::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                    "testsrc=s=320x568:r=30:d=20", "-f", "lavfi", "-i",
                    "sine=f=440:r=48000:d=20", "-c:v", "libx264", "-preset", "ultrafast", "-g",
                    "30", "-bf", "0", "-c:a", "aac", "-movflags",
                    "frag_keyframe+empty_moov+default_base_moof", path});
  return path;
}

// A short gap is jumped from keyframe to keyframe, a long one too; each segment still comes
// whole, nothing far from one comes at all, and times only rise.
TEST(TakeReaderTest, onlyFramesAroundTheSegmentsComeInRisingOrder) {
  const std::vector<Span> segments = {{1, 2}, {4.5, 5.5}, {12, 13}};
  TakeReader reader(twentySeconds(), segments);
  av::Frame frame = av::makeFrame();
  std::vector<Span> pictures(segments.size(), {100, -1}), sounds(segments.size(), {100, -1});
  double lastPicture = -1, lastSound = -1;
  for (;;) {
    const TakeReader::Stream stream = reader.next(frame.get());
    if (stream == TakeReader::Stream::end) break;
    const bool picture = stream == TakeReader::Stream::video;
    const double time =
        frame->pts * av_q2d(picture ? reader.videoTimeBase() : reader.audioTimeBase());
    const auto near = std::find_if(segments.begin(), segments.end(), [&](const Span& s) {
      return time > s.start - 0.3 && time < s.end + 0.25;
    });
    ASSERT_NE(near, segments.end()) << (picture ? "picture" : "sound") << " at " << time;
    Span& seen = (picture ? pictures : sounds)[std::size_t(near - segments.begin())];
    seen = {std::min(seen.start, time), std::max(seen.end, time)};
    double& last = picture ? lastPicture : lastSound;
    EXPECT_GT(time, last);
    last = time;
    av_frame_unref(frame.get());
  }
  for (std::size_t i = 0; i < segments.size(); ++i) {
    EXPECT_LE(pictures[i].start, segments[i].start) << "segment " << i;
    EXPECT_GE(pictures[i].end, segments[i].end - 0.04) << "segment " << i;
    EXPECT_LE(sounds[i].start, segments[i].start) << "segment " << i;
    EXPECT_GE(sounds[i].end, segments[i].end - 0.03) << "segment " << i;
  }
}

TEST(TakeReaderTest, aTakeWithoutPictureOrSoundIsRefused) {
  EXPECT_THROW(TakeReader(test::silentTake("nosound", 1, false), {{0, 1}}), CutError);
}

}  // namespace
}  // namespace vorn::cut
