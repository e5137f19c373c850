// SPDX-License-Identifier: GPL-3.0-or-later
// Reading a take only around the segments a reel keeps, jumping over long gaps.
#include "SpokenTake.h"

#include "cut/TakeAudio.h"
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

// A take with the system audio beside the microphone, as the studio writes it: the reel listens
// to the voice (the first sound track, here silent) and keeps it, though the system audio's
// track (a loud tone, at a higher bit rate) would pass for the "best" sound.
TEST(TakeReaderTest, theVoiceIsTheTakesFirstSoundTrack) {
  const std::string path = test::scratch() + "/two-tracks.mp4";
  test::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                    "testsrc=s=320x568:r=30:d=3", "-f", "lavfi", "-i",
                    "anullsrc=r=48000:cl=mono:d=3", "-f", "lavfi", "-i",
                    "sine=f=440:r=48000:d=3", "-map", "0:v", "-map", "1:a", "-map", "2:a",
                    "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac", "-b:a:0", "128k",
                    "-b:a:1", "160k", "-ac:a:1", "2", path});
  const Pcm voice = decodeTakeAudio(path);
  ASSERT_GT(voice.duration(), 2.5);
  EXPECT_LT(*std::max_element(voice.samples.begin(), voice.samples.end()), 100) << "not the tone";
  TakeReader reader(path, {{0, 3}});
  EXPECT_EQ(reader.audio()->ch_layout.nb_channels, 1);
}

TEST(TakeReaderTest, aTakeWithoutPictureOrSoundIsRefused) {
  EXPECT_THROW(TakeReader(test::silentTake("nosound", 1, false), {{0, 1}}), CutError);
}

}  // namespace
}  // namespace vorn::cut
