// SPDX-License-Identifier: GPL-3.0-or-later
// Where a reel's cuts fall: between words, in the quiet, on the take's picture starts.
#include "cut/CutPlacement.h"
#include "cut/Story.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vorn::cut {
namespace {

// 10 s of 30 fps pictures.
PictureGrid thirtyFps() {
  std::vector<double> times;
  for (int i = 0; i < 300; ++i) times.push_back(i / 30.0);
  return PictureGrid(times);
}

// Speech at −20 dB everywhere but for the given quiet stretches (at −70 dB).
SoundLevels levelsWithQuiet(const std::vector<Span>& quiet) {
  SoundLevels levels;
  levels.speechDb = -50;
  levels.floorDb = -70;
  for (int i = 0; i < 1000; ++i) {
    const double t = i * SoundLevels::kStepSeconds + 0.005;
    const bool silent = std::any_of(quiet.begin(), quiet.end(),
                                    [&](const Span& s) { return s.start <= t && t < s.end; });
    levels.db.push_back(silent ? -70 : -20);
  }
  return levels;
}

TEST(PictureGridTest, theUsualSpacingOutlastsADroppedPictureAndNeedsTwo) {
  std::vector<double> times = {0, 1 / 30.0, 2 / 30.0, 4 / 30.0, 5 / 30.0};
  EXPECT_NEAR(PictureGrid(times).spacing(), 1 / 30.0, 1e-9);
  EXPECT_EQ(PictureGrid(std::vector<double>{1.0}).spacing(), 0);
}

bool onPicture(double t) { return std::abs(t * 30 - std::round(t * 30)) < 1e-6; }

Transcript transcriptOf(std::vector<Word> words, std::vector<Span> quiet) {
  Transcript transcript;
  transcript.words = std::move(words);
  transcript.duration = 10;
  transcript.levels = levelsWithQuiet(quiet);
  return transcript;
}

// The segments, once placed, of a story that keeps `planned` around the transcript's first
// word.
std::vector<Span> placedAroundFirstWord(const Transcript& transcript, Span planned) {
  Story story;
  story.segments = {planned};
  story.words = {transcript.words[0]};
  placeCuts(story, transcript, thirtyFps());
  return story.segments;
}

TEST(CutPlacementTest, anEdgeInsideAWordMovesOutSoTheWordStaysWhole) {
  const Transcript transcript =
      transcriptOf({{"one", 1.0, 1.6}, {"two", 1.8, 2.5}, {"three", 2.9, 3.6}, {"four", 4.0, 4.4}},
                   {{0, 1.0}, {1.6, 1.8}, {2.5, 2.9}, {3.6, 4.0}, {4.4, 10}});
  Story story;
  story.segments = {{1.9, 3.2}};  // starts inside "two", ends inside "three"
  story.words = {transcript.words[1], transcript.words[2]};
  placeCuts(story, transcript, thirtyFps());
  ASSERT_EQ(story.segments.size(), 1u);
  const Span& cut = story.segments[0];
  EXPECT_GE(cut.start, 1.6);
  EXPECT_LE(cut.start, 1.8);
  EXPECT_GE(cut.end, 3.6);
  EXPECT_LE(cut.end, 4.0);
  EXPECT_TRUE(onPicture(cut.start)) << cut.start;
  EXPECT_TRUE(onPicture(cut.end)) << cut.end;
  EXPECT_EQ(story.words.size(), 2u);
}

TEST(CutPlacementTest, anEdgeGoesToTheQuietestPartOfTheGapNotJustBetweenTheWordTimes) {
  // The recogniser's times leave 1.6–2.4 s between the words, but the speaker's breath fills
  // it but for 2.2–2.3 s.
  const Transcript transcript =
      transcriptOf({{"one", 1.0, 1.6}, {"two", 2.4, 3.0}}, {{0, 1.0}, {2.2, 2.3}, {3.0, 10}});
  const std::vector<Span> placed = placedAroundFirstWord(transcript, {0.9, 1.72});
  ASSERT_EQ(placed.size(), 1u);
  EXPECT_GE(placed[0].end, 2.2);
  EXPECT_LE(placed[0].end, 2.3 + 1e-9);
  EXPECT_TRUE(onPicture(placed[0].end));
}

TEST(CutPlacementTest, amongEquallyQuietPicturesTheEdgeStaysNearestWhereItWasPlanned) {
  const Transcript transcript = transcriptOf({{"one", 1.0, 1.6}, {"two", 3.0, 3.5}}, {{1.6, 3.0}});
  const std::vector<Span> placed = placedAroundFirstWord(transcript, {1.0, 1.72});
  ASSERT_EQ(placed.size(), 1u);
  EXPECT_NEAR(placed[0].end, 1.7333, 1e-3);
}

// Over a loud fan a word's fading end lies under the noise and the pause after it sounds
// alike throughout: the segment ends half a second into the pause, or halfway through a
// shorter one.
TEST(CutPlacementTest, overANoiseTheVoiceDoesNotStandClearOfASegmentEndsIntoThePause) {
  const auto endAfterOne = [](double next) {
    Transcript transcript =
        transcriptOf({{"one", 1.0, 1.6}, {"two", next, next + 0.5}}, {{1.6, next}});
    transcript.clear = false;
    const std::vector<Span> placed = placedAroundFirstWord(transcript, {1.0, 1.72});
    EXPECT_EQ(placed.size(), 1u);
    return placed.empty() ? 0.0 : placed[0].end;
  };
  EXPECT_NEAR(endAfterOne(3.0), 2.1, 1e-3);
  EXPECT_NEAR(endAfterOne(1.9), 1.75, 0.02);
}

// Over a fan, "okay so" (1.0–1.5 s) was said but not laid as words, and "three" was laid at
// 1.55 s, 250 ms before its sound: the opening waits for the fading end of "so" under the
// noise, short of where "three" rises.
TEST(CutPlacementTest, overANoiseAnOpeningWaitsForTheFadingEndOfTalkBeforeIt) {
  Transcript transcript =
      transcriptOf({{"started", 0.2, 0.6}, {"three", 1.55, 2.0}, {"months", 2.0, 2.4}},
                   {{0, 0.2}, {0.6, 1.0}, {1.5, 1.8}, {2.4, 10}});
  transcript.clear = false;
  transcript.fromScript = true;
  transcript.words[1].onset = 1.8;
  Story story;
  story.segments = {{1.43, 2.52}};
  story.words = {transcript.words[1], transcript.words[2]};
  placeCuts(story, transcript, thirtyFps());
  ASSERT_EQ(story.segments.size(), 1u);
  EXPECT_GE(story.segments[0].start, 1.59) << "past the fading end of \"so\"";
  EXPECT_LE(story.segments[0].start, 1.77) << "before \"three\" rises";
  // Talk running on into the word ("I" unheard before "mean", 20 ms apart) is one utterance:
  // the opening is placed as over a clear voice.
  const auto opening = [](bool clear) {
    Transcript transcript = transcriptOf({{"started", 0.2, 0.6}, {"mean", 1.52, 2.0}},
                                         {{0, 0.2}, {0.6, 1.0}, {1.5, 1.52}, {2.0, 10}});
    transcript.clear = clear;
    transcript.fromScript = true;
    Story story;
    story.segments = {{1.1, 2.1}};
    story.words = {transcript.words[1]};
    placeCuts(story, transcript, thirtyFps());
    return story.segments.empty() ? -1.0 : story.segments[0].start;
  };
  EXPECT_DOUBLE_EQ(opening(false), opening(true));
}

TEST(CutPlacementTest, aSegmentEndsAfterTheBurstThatReleasesItsLastWordsStop) {
  // "…at" as recognised ends at 1.6 s, on its silent closure; the /t/ is released at
  // 1.65–1.70 s, then a breath's quiet before the next word.
  const Transcript transcript = transcriptOf({{"at", 1.3, 1.6}, {"night", 1.8, 2.3}},
                                             {{0, 1.3}, {1.6, 1.65}, {1.7, 1.75}, {2.3, 10}});
  const std::vector<Span> placed = placedAroundFirstWord(transcript, {1.2, 1.62});
  ASSERT_EQ(placed.size(), 1u);
  EXPECT_GE(placed[0].end, 1.7) << "the burst stays";
  EXPECT_LE(placed[0].end, 1.75) << "in the quiet after it, before the next word";
}

TEST(CutPlacementTest, aSegmentKeepsALastSyllableTheRecogniserLeftOut) {
  // "peo-ple" heard as ending at 1.6 s: its second syllable rises again at 1.75–1.9 s, after
  // a dip, before the pause.
  const Transcript transcript = transcriptOf({{"people", 1.3, 1.6}, {"the", 3.0, 3.2}},
                                             {{0, 1.3}, {1.6, 1.75}, {1.9, 3.0}, {3.2, 10}});
  const std::vector<Span> placed = placedAroundFirstWord(transcript, {1.2, 1.72});
  ASSERT_EQ(placed.size(), 1u);
  EXPECT_GE(placed[0].end, 1.9);
  EXPECT_LE(placed[0].end, 2.0) << "and no more of the pause than that";
}

TEST(CutPlacementTest, aPausesNoiseFlickeringDoesNotCarryTheEdgeAcrossIt) {
  // A hissing pause of 2 s after "one": its 10 ms levels wander 2.5 dB about the floor, lowest
  // near its far end.
  Transcript transcript = transcriptOf({{"one", 1.0, 1.6}, {"two", 3.6, 4.0}}, {{1.6, 3.6}});
  for (int i = 160; i < 360; ++i) transcript.levels.db[std::size_t(i)] += i % 2 ? 0 : 1;
  for (int i = 330; i < 345; ++i) transcript.levels.db[std::size_t(i)] = -72.5;
  const std::vector<Span> placed = placedAroundFirstWord(transcript, {0.9, 1.65});
  ASSERT_EQ(placed.size(), 1u);
  EXPECT_LT(placed[0].end, 1.9) << "no dead air kept for a dip in the hiss";
}

TEST(CutPlacementTest, segmentsThatLeaveOutAFewPicturesOnlyAreJoined) {
  // Both edges go to the quiet 2.2–2.3 s in the middle of a long pause, a picture apart.
  const Transcript transcript =
      transcriptOf({{"one", 1.0, 1.6}, {"two", 2.9, 3.5}}, {{0, 1.0}, {2.2, 2.3}, {3.5, 10}});
  Story story;
  story.segments = {{0.9, 1.72}, {2.78, 3.6}};
  story.words = transcript.words;
  placeCuts(story, transcript, thirtyFps());
  ASSERT_EQ(story.segments.size(), 1u) << story.segments[0].end << " " << story.segments[1].start;
}

TEST(CutPlacementTest, segmentsThatMeetAreJoinedAndOnesShorterThanTwoPicturesDropped) {
  const Transcript transcript =
      transcriptOf({{"one", 1.0, 1.6}, {"um", 1.7, 1.9}, {"two", 2.0, 2.6}}, {});
  Story story;
  story.segments = {{0.9, 1.75}, {1.72, 2.7}, {5.0, 5.02}};
  story.words = transcript.words;
  placeCuts(story, transcript, thirtyFps());
  ASSERT_EQ(story.segments.size(), 1u);
  EXPECT_LE(story.segments[0].start, 1.0);
  EXPECT_GE(story.segments[0].end, 2.6);
}

}  // namespace
}  // namespace vorn::cut
