// SPDX-License-Identifier: GPL-3.0-or-later
// Where a word starts and lights, judged by its sound.
#include "cut/Captions.h"
#include "cut/WordEdges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace vorn::cut {
namespace {

// 10 ms levels over `seconds`: voice at -20 dB where `voiced`, elsewhere the take's floor,
// every third step `flickerDb` above it.
SoundLevels levelsOf(const std::vector<Span>& voiced, double seconds, double floorDb,
                     double flickerDb = 0) {
  SoundLevels levels;
  levels.floorDb = floorDb;
  for (int step = 0; step < int(seconds / SoundLevels::kStepSeconds); ++step) {
    const double t = (step + 0.5) * SoundLevels::kStepSeconds;
    const bool voice = std::any_of(voiced.begin(), voiced.end(),
                                   [&](const Span& s) { return s.start < t && t < s.end; });
    levels.db.push_back(voice ? -20 : floorDb + (step % 3 ? 0 : flickerDb));
  }
  return levels;
}

// "light" is heard 30 ms into the last of "good"'s voice: it starts where its own voice rises.
// "at" falls quiet 80 ms in (the closure before "big"), "soft" opens in the quiet before it
// and "face" in a dip of one flicker: those stay.
TEST(WordEdgesTest, aWordOpenedInTheTailOfTheVoiceBeforeItStartsWhereItsOwnVoiceRises) {
  const SoundLevels levels = levelsOf({{1.0, 1.53}, {1.60, 2.0}, {2.2, 2.28}, {2.34, 2.5},
                                       {3.0, 3.4}, {3.6, 3.63}, {3.64, 4.0}},
                                      5, -60);
  std::vector<Word> words = {{"good", 1.0, 1.5},  {"light", 1.5, 2.0}, {"at", 2.2, 2.3},
                             {"big", 2.3, 2.5},   {"soft", 2.9, 3.4},  {"face", 3.6, 4.0}};
  startPastTails(levels, words);
  const std::vector<double> starts = {1.0, 1.6, 2.2, 2.3, 2.9, 3.6};
  for (std::size_t i = 0; i < words.size(); ++i)
    EXPECT_NEAR(words[i].start, starts[i], 1e-9) << words[i].text;
}

// The aligner opens "good" 30 ms before its sound; "light" follows without a gap; "soft"
// never rises to speech level early on (a whispered opening). Only "good" lights late.
TEST(WordEdgesTest, aWordLightsWhenItsSoundRisesNotOnTheQuietBeforeIt) {
  Pcm pcm;
  pcm.samples.resize(std::size_t(4 * Pcm::kRate));
  for (std::size_t i = std::size_t(1.03 * Pcm::kRate); i < std::size_t(2 * Pcm::kRate); ++i)
    pcm.samples[i] = std::int16_t(8000 * std::sin(double(i) * 0.2));
  for (std::size_t i = std::size_t(2.6 * Pcm::kRate); i < std::size_t(3 * Pcm::kRate); ++i)
    pcm.samples[i] = std::int16_t(8000 * std::sin(double(i) * 0.2));
  // "fine" opens on a soft "f", 26 dB under its vowel but well out of the quiet.
  for (std::size_t i = std::size_t(3.2 * Pcm::kRate); i < std::size_t(3.6 * Pcm::kRate); ++i)
    pcm.samples[i] = std::int16_t((i < 3.24 * Pcm::kRate ? 400 : 8000) * std::sin(double(i) * 0.2));
  Story story;
  story.segments = {{0.5, 3.8}};
  story.words = {{"good", 1, 1.4}, {"light", 1.4, 1.9}, {"soft", 2.5, 3}, {"fine", 3.18, 3.6}};
  placeOnsets(SoundLevels::of(pcm), story.words);
  EXPECT_NEAR(story.words[0].onset, 1.03, 0.006);
  EXPECT_DOUBLE_EQ(story.words[1].onset, 1.4);
  EXPECT_DOUBLE_EQ(story.words[2].onset, 2.5) << "its sound comes too late to be its opening";
  EXPECT_NEAR(story.words[3].onset, 3.2, 0.011) << "on its soft opening, not its vowel";
  const std::string script = captionScript(story);
  EXPECT_NE(script.find("0:00:00.53,0:00:00.90,Words,,0,0,0,,{\\pos(510,1240)}{\\c&H0000D7FF&}GOOD"),
            std::string::npos)
      << script;
  // At 25 pictures a second, the picture at 0.52 s is the nearest to its sound, not 0.56 s.
  const std::string early = captionScript(story, std::nullopt, 0.04);
  EXPECT_NE(early.find("0:00:00.51,0:00:00.88,Words,,0,0,0,,{\\pos(510,1240)}{\\c&H0000D7FF&}GOOD"),
            std::string::npos)
      << early;
}

// Over a fan (its floor at -30 dB, flickering up to -26) the aligner opened each word well
// before its voice. A word opens no earlier than its first phone can stay unheard under the
// noise: a vowel at once, a stop after its closure, a hiss longest. "spot"'s hiss may fill
// all the quiet before its voice; an unknown word and a word whose voice never holds keep
// where their sound rose.
TEST(WordEdgesTest, overALoudNoiseAWordOpensNoEarlierThanItsFirstPhoneCanStayUnheard) {
  const SoundLevels levels =
      levelsOf({{1.2, 1.4}, {2.15, 2.3}, {3.08, 3.3}, {4.15, 4.4}, {5.1, 5.12}, {5.3, 5.4}}, 6,
               -30, 4);
  std::vector<Word> words = {{"three", 1.0, 1.4}, {"and", 2.0, 2.3}, {"spot", 3.0, 3.3},
                             {"sourdough", 4.0, 4.4}, {"a", 5.0, 5.2}};
  const std::map<std::string, std::vector<std::string>> phones = {
      {"three", {"TH", "R", "IY"}}, {"and", {"AE", "N", "D"}}, {"spot", {"S", "P", "AA", "T"}}, {"a", {"AH"}}};
  placeOnsets(levels, words, [&](const std::string& word) {
    const auto found = phones.find(word);
    return found == phones.end() ? std::vector<std::string>() : found->second;
  });
  // Within one 10 ms step of the voice.
  EXPECT_NEAR(words[0].onset, 1.2 - unvoicedOpeningSeconds("TH"), 0.011);
  EXPECT_NEAR(words[1].onset, 2.15 - unvoicedOpeningSeconds("AE"), 0.011);
  EXPECT_DOUBLE_EQ(words[2].onset, 3.0);
  EXPECT_DOUBLE_EQ(words[3].onset, 4.0);
  EXPECT_DOUBLE_EQ(words[4].onset, 5.0);
  EXPECT_LT(unvoicedOpeningSeconds("AE"), unvoicedOpeningSeconds("B"));
  EXPECT_LT(unvoicedOpeningSeconds("T"), unvoicedOpeningSeconds("TH"));
}

// "file" is followed by an "uh" no word holds; "team"'s voice runs on past its end (its own
// last sound), then flickers for 50 ms; "report" ends the take in quiet, the aligner running
// it on 0.3 s past its voice. "file"'s caption goes dark where the "uh" begins, not 0.6 s
// after the word; "report"'s lingers 0.6 s from where its voice fell.
TEST(WordEdgesTest, aCaptionGoesDarkWhereTalkNoWordHoldsBeginsAndLingersFromItsWordsVoice) {
  const SoundLevels levels =
      levelsOf({{1.0, 1.4}, {1.6, 1.8}, {2.0, 2.3}, {3.0, 3.55}, {3.7, 3.75}, {4.5, 4.9}}, 6, -60);
  Story story;
  story.segments = {{0.5, 5.5}};
  story.words = {{"file", 1.0, 1.4}, {"a", 2.0, 2.3}, {"team", 3.0, 3.4}, {"report", 4.5, 5.2}};
  story.words[1].endsSentence = true;
  story.words[2].endsSentence = true;
  markTalkAfter(levels, story.words, 6);
  markVoiceEnds(levels, story.words);
  EXPECT_NEAR(story.words[0].talkAfter, 1.6, 0.011);
  EXPECT_EQ(story.words[1].talkAfter, 0);
  EXPECT_EQ(story.words[2].talkAfter, 0) << "its own voice running on, then a flicker";
  EXPECT_EQ(story.words[3].talkAfter, 0);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(story.words[i].heardUntil, 0) << story.words[i].text;
  EXPECT_NEAR(story.words[3].heardUntil, 4.9, 0.011);
  const std::string script = captionScript(story);
  EXPECT_NE(script.find("0:00:00.50,0:00:01.10,Words"), std::string::npos) << script;
  EXPECT_NE(script.find("0:00:02.50,0:00:03.50,Words"), std::string::npos) << script;
  EXPECT_NE(script.find("0:00:04.00,0:00:05.00,Words"), std::string::npos) << script;
}

// "file, uh, a spreadsheet": the aligner drew the script's "a" out over the "uh" and left its
// own short sound, after a pause, to nobody; or laid it over all three, from a flicker of the
// noise on. "a" moves onto its own sound and the "uh" is talk off the script. A long word of
// many sounds, a drawn-out "oh" with nothing after it and an "a" said at its own length stay
// as laid.
TEST(WordEdgesTest, aOneSoundWordDrawnOutOverAHesitationMovesOntoItsOwnSound) {
  const SoundLevels levels = levelsOf({{1.0, 1.4}, {1.6, 1.84}, {2.05, 2.12}, {2.13, 2.7},
                                       {3.0, 3.3}, {3.3, 3.6}, {3.8, 3.87}, {4.0, 4.07}, {4.2, 4.5},
                                       {5.0, 5.01}, {5.03, 5.25}, {5.42, 5.49}, {5.5, 5.9}},
                                      6, -60);
  std::vector<Word> words = {{"file", 1.0, 1.4},   {"a", 1.6, 1.85},     {"spreadsheet", 2.13, 2.7},
                             {"oh", 3.0, 3.3},      {"salary", 3.3, 3.6}, {"a", 4.0, 4.07},
                             {"team", 4.2, 4.5},    {"a", 5.0, 5.5},      {"spreadsheet", 5.5, 5.9}};
  const Pronounce pronounce = [](const std::string& word) {
    return word == "a" ? std::vector<std::string>{"AH"}
         : word == "oh" ? std::vector<std::string>{"OW"}
                        : std::vector<std::string>{"S", "T", "AH"};
  };
  splitHesitations(levels, words, pronounce);
  std::vector<std::string> texts;
  for (const Word& word : words) texts.push_back(word.text);
  ASSERT_EQ(texts, (std::vector<std::string>{"file", "uh", "a", "spreadsheet", "oh", "salary", "a", "team",
                                             "uh", "a", "spreadsheet"}));
  EXPECT_TRUE(words[1].offScript);
  EXPECT_EQ(words[1].confidence, 0);
  EXPECT_DOUBLE_EQ(words[1].start, 1.6);
  EXPECT_NEAR(words[2].start, 2.05, 0.011);
  EXPECT_NEAR(words[2].end, 2.12, 0.011);
  EXPECT_FALSE(words[2].offScript);
  EXPECT_DOUBLE_EQ(words[4].start, 3.0) << "drawn out, but the next word follows at once";
  EXPECT_DOUBLE_EQ(words[6].start, 4.0) << "said at its own length";
  EXPECT_NEAR(words[8].start, 5.03, 0.011) << "the hesitation, not the flicker before it";
  EXPECT_NEAR(words[8].end, 5.25, 0.011);
  EXPECT_NEAR(words[9].start, 5.42, 0.011);
  EXPECT_NEAR(words[9].end, 5.49, 0.011);
}

}  // namespace
}  // namespace vorn::cut
