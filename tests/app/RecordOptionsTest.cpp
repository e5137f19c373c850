// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/RecordOptions.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

TEST(RecordOptions, unspecifiedOptionsComeFromTheSavedPreferences) {
  Prefs saved;
  saved.layout = Layout::split;
  saved.fps = 30;
  saved.systemAudio = true;
  const auto parsed = parseRecordOptions({}, saved);
  EXPECT_TRUE(parsed.error.isEmpty());
  EXPECT_EQ(parsed.options.prefs, saved);
  EXPECT_FALSE(parsed.options.seconds || parsed.options.area || parsed.options.out ||
               parsed.options.display);
}

TEST(RecordOptions, everyOptionIsRead) {
  const auto parsed = parseRecordOptions(
      {"--seconds", "2.5", "--layout", "me", "--style", "bleed", "--fps", "30", "--area",
       "10,20,540,960", "--display", "1", "--no-camera", "--no-mic", "--system-audio", "--out",
       "/tmp/x.mp4"},
      Prefs{});
  ASSERT_TRUE(parsed.error.isEmpty()) << parsed.error.toStdString();
  const RecordOptions& o = parsed.options;
  EXPECT_EQ(o.seconds, 2.5);
  EXPECT_EQ(o.prefs.layout, Layout::me);
  EXPECT_EQ(o.prefs.style, FrameStyle::bleed);
  EXPECT_EQ(o.prefs.fps, 30);
  EXPECT_EQ(o.area, (Rect{10, 20, 540, 960}));
  EXPECT_EQ(o.display, 1);
  EXPECT_FALSE(o.prefs.cameraOn);
  EXPECT_FALSE(o.prefs.micOn);
  EXPECT_TRUE(o.prefs.systemAudio);
  EXPECT_EQ(o.out, QString("/tmp/x.mp4"));
}

TEST(RecordOptions, aValueMayFollowItsOptionOrAnEqualsSign) {
  const auto apart = parseRecordOptions({"--seconds", "2", "--layout", "me", "--out", "a b.mp4"}, Prefs{});
  const auto joined = parseRecordOptions({"--seconds=2", "--layout=me", "--out=a b.mp4"}, Prefs{});
  ASSERT_TRUE(apart.error.isEmpty() && joined.error.isEmpty()) << joined.error.toStdString();
  EXPECT_EQ(apart.options.seconds, 2.0);
  EXPECT_EQ(joined.options.seconds, 2.0);
  EXPECT_EQ(joined.options.prefs.layout, Layout::me);
  EXPECT_EQ(joined.options.out, QString("a b.mp4"));
}

TEST(RecordOptions, badArgumentsGiveOneSentence) {
  const std::vector<QStringList> bad{
      {"--fps", "25"},      {"--layout", "grid"}, {"--style"},          {"--seconds", "-1"},
      {"--seconds", "nan"}, {"--seconds", "1e12"}, {"--area", "1,2,3"},  {"--area", "0,0,0,5"}, {"--display", "x"},
      {"--frobnicate"},     {"--seconds=x"},      {"stray"},            {"--no-mic=yes"}};
  for (const QStringList& args : bad) {
    const auto parsed = parseRecordOptions(args, Prefs{});
    EXPECT_FALSE(parsed.error.isEmpty()) << args.join(' ').toStdString();
    EXPECT_TRUE(parsed.error.endsWith('.') || parsed.error.endsWith(").")) << parsed.error.toStdString();
    EXPECT_FALSE(parsed.error.contains('\n'));
  }
}

}  // namespace
}  // namespace vorn
