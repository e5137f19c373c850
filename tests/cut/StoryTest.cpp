// SPDX-License-Identifier: GPL-3.0-or-later
// The story the machine finds on its own: order, budget, and cuts only between words.
#include "cut/Captions.h"
#include "cut/Listen.h"
#include "cut/Sentences.h"
#include "cut/CutPlacement.h"
#include "cut/Story.h"
#include "cut/StoryText.h"
#include "cut/OverANoise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace vorn::cut {
namespace {

const std::vector<std::string> kVocabulary = {"light", "camera", "face",    "people", "watch",
                                              "video", "three",  "reasons", "story",  "sound"};

// `count` sentences of eight words (0.3 s each, 0.05 s apart) with 0.8 s pauses between them;
// every fifth sentence holds an "um". No sentence repeats the end of the one before it (that
// would be a retake).
Transcript transcriptOf(int count) {
  Transcript transcript;
  double at = 1;
  for (int s = 0; s < count; ++s) {
    for (int w = 0; w < 8; ++w) {
      const std::string text =
          (s % 5 == 2 && w == 3) ? "um" : kVocabulary[(s * 7 + w) % kVocabulary.size()];
      transcript.words.push_back({text, at, at + 0.3, 0.9});
      at += 0.35;
    }
    at += 0.8;
  }
  transcript.duration = at + 1;
  return transcript;
}

bool insideAWord(const std::vector<Word>& words, double moment) {
  for (const Word& word : words)
    if (moment > word.start + 1e-9 && moment < word.end - 1e-9) return true;
  return false;
}

void expectWellCut(const Story& story, const Transcript& transcript) {
  ASSERT_FALSE(story.segments.empty());
  for (std::size_t i = 0; i < story.segments.size(); ++i) {
    const Span& segment = story.segments[i];
    EXPECT_LT(segment.start, segment.end);
    if (i > 0) {
      EXPECT_GT(segment.start, story.segments[i - 1].end) << "in order, apart";
    }
    EXPECT_FALSE(insideAWord(transcript.words, segment.start)) << segment.start;
    EXPECT_FALSE(insideAWord(transcript.words, segment.end)) << segment.end;
  }
  for (std::size_t i = 1; i < story.words.size(); ++i)
    EXPECT_GE(story.words[i].start, story.words[i - 1].end);
  for (const Word& word : story.words) {
    EXPECT_NE(word.text, "um");
    const bool kept = std::any_of(story.segments.begin(), story.segments.end(), [&](const Span& s) {
      return s.start <= word.start && word.end <= s.end;
    });
    EXPECT_TRUE(kept) << word.text << " at " << word.start << " is cut";
  }
}

TEST(StoryTest, aLongTakeGivesAHookAndABodyWithinTheBudgetInTakeOrder) {
  const Transcript transcript = transcriptOf(40);
  const Story story = deviceStory(transcript, "");
  expectWellCut(story, transcript);
  EXPECT_LE(story.length(), 60);
  EXPECT_GE(story.length(), 20);
  EXPECT_LT(story.segments.front().start, 15) << "the hook comes from the opening";
  EXPECT_EQ(story.brain, "device");
  EXPECT_FALSE(story.headline.empty());
  EXPECT_FALSE(story.caption.empty());
}

// Over a noise, cuts end half a second into the pauses after sentences: the story keeps room
// for that in the budget.
TEST(StoryTest, aNoisyTakesReelStaysWithinTheBudgetOnceItsCutsArePlaced) {
  Transcript transcript = transcriptOf(40);
  test::hearOverANoise(transcript);
  std::vector<double> pictures;
  for (int i = 0; i < transcript.duration * 30; ++i) pictures.push_back(i / 30.0);
  Story story = deviceStory(transcript, "");
  placeCuts(story, transcript, PictureGrid(pictures));
  EXPECT_LE(story.length(), 60);
  EXPECT_GE(story.length(), 50) << "and the budget is still used";
}

TEST(StoryTest, aShortTakeKeepsItsSpeechAndStaysShorterThanTheTake) {
  const Transcript transcript = transcriptOf(3);
  const Story story = deviceStory(transcript, "");
  expectWellCut(story, transcript);
  EXPECT_LT(story.length(), transcript.duration);
  EXPECT_EQ(story.words.front().start, transcript.words.front().start);
  EXPECT_EQ(story.words.size(), transcript.words.size() - 1) << "all but the filler";
}

// Fillers said back to back ("um, okay so") go together, though the aligner stretched the word
// before them over the pause. Over a music bed they go too; over a broad noise the voice does
// not stand clear of, the same fillers are a guess and stay.
TEST(StoryTest, aFillerHeardInsideRunningSpeechStaysAndFillersSetApartByQuietGo) {
  Transcript transcript;
  transcript.words = {{"light", 1.0, 1.4}, {"ah", 1.4, 1.6},   {"matters", 1.6, 2.1},
                      {"um", 2.4, 2.5},    {"okay", 2.5, 2.6}, {"so", 2.6, 2.7},
                      {"more", 3.0, 3.4},  {"today", 3.4, 3.9}};
  transcript.duration = 5;
  transcript.levels.speechDb = -50;
  for (int i = 0; i < 500; ++i) {
    const double t = i * SoundLevels::kStepSeconds;
    const bool quiet = t < 1.0 || (t > 2.15 && t < 2.35) || (t > 2.75 && t < 2.95) || t > 3.95;
    transcript.levels.db.push_back(quiet ? -70 : -20);
  }
  const auto kept = [](const Transcript& heard) {
    std::vector<std::string> texts;
    for (const Word& word : deviceStory(heard, "").words) texts.push_back(word.text);
    return texts;
  };
  EXPECT_EQ(kept(transcript), (std::vector<std::string>{"light", "ah", "matters", "more", "today"}));
  transcript.words[2].end = transcript.words[3].start = 2.35;
  transcript.clear = false;
  EXPECT_EQ(kept(transcript), (std::vector<std::string>{"light", "ah", "matters", "more", "today"}));
  transcript.fillersHeard = false;
  EXPECT_EQ(kept(transcript),
            (std::vector<std::string>{"light", "ah", "matters", "um", "okay", "so", "more", "today"}));
}

// Speech as said: words of 0.3 s run together; "/" is a short quiet pause (0.5 s), "|" a
// long one between sentences (1 s); "+" is 0.7 s of speech the recogniser heard no word in.
// The sound is loud on words, quiet in pauses. A word marked "~" is talk heard off a known
// script, as listening keeps it.
Transcript said(const std::string& text) {
  Transcript transcript;
  std::vector<Span> quiet = {{0, 1}};
  double at = 1;
  std::istringstream items(text);
  for (std::string item; items >> item;) {
    if (item == "+") {
      at += 0.7;
      continue;
    }
    if (item == "/" || item == "|") {
      const double pause = item == "/" ? 0.5 : 1;
      quiet.push_back({at, at + pause});
      at += pause;
      continue;
    }
    Word word{item, at, at + 0.3, 0.9};
    if (item.starts_with('~')) {
      word.text = item.substr(1);
      word.confidence = 0.4;
      word.offScript = true;
      transcript.fromScript = true;
    }
    transcript.words.push_back(word);
    at += 0.3;
  }
  quiet.push_back({at, at + 10});
  transcript.duration = at + 1;
  transcript.levels.speechDb = -50;
  for (double t = 0.005; t < transcript.duration; t += SoundLevels::kStepSeconds) {
    const bool silent = std::any_of(quiet.begin(), quiet.end(),
                                    [&](const Span& q) { return q.start <= t && t < q.end; });
    transcript.levels.db.push_back(silent ? -70 : -20);
  }
  return transcript;
}

std::string keptText(const Story& story) {
  std::string text;
  for (const Word& word : story.words) text += (text.empty() ? "" : " ") + word.text;
  return text;
}

TEST(StoryTest, fillerPhrasesAndFalseStartsGoWhileWordsInsideSpeechStay) {
  const Story story = deviceStory(
      said("so the / so the first thing / you know / is light | okay where was i | "
           "i like good light / um / and / sort of / cheap lamps"),
      "");
  EXPECT_EQ(keptText(story), "so the first thing is light i like good light and cheap lamps");
}

TEST(StoryTest, theHookIsTheTakesOpeningSentenceAndTheReelOpensOnIt) {
  const Story story = deviceStory(
      said("um | my camera story | you need three lights and three reasons you will see | "
           "cheap cameras fail | lights beat cameras | gear matters less | lamps glow warm | "
           "phones film well | light shapes faces | screens glow blue"),
      "lights", Budget{2, 7});
  ASSERT_FALSE(story.words.empty());
  EXPECT_EQ(story.words.front().text, "my");
  EXPECT_EQ(story.words[2].text, "story");
}

TEST(StoryTest, aQuestionKeptKeepsTheSentenceThatAnswersIt) {
  const Story story = deviceStory(
      said("light wins | cameras cost money | lamps are cheap | why do you use three lamps | "
           "the shadows | cheap cameras cost less | you need three things | you see three lights"),
      "", Budget{2, 7});
  const std::string kept = keptText(story);
  ASSERT_NE(kept.find("why do you use three lamps"), std::string::npos) << kept;
  EXPECT_NE(kept.find("the shadows"), std::string::npos) << kept;
}

TEST(StoryTest, anAsideOffTheTopicIsLeftOutThoughTheBudgetHasRoomForIt) {
  const Story story = deviceStory(
      said("my camera story starts with light | cheap cameras fail in dim light | "
           "my cat knocked a plant off the shelf yesterday | "
           "anyway good light beats a new camera | so buy a lamp before a camera"),
      "");
  EXPECT_EQ(keptText(story),
            "my camera story starts with light cheap cameras fail in dim light anyway good "
            "light beats a new camera so buy a lamp before a camera");
}

// Talk off a known script is left out even where it names the take's topic, and never opens
// the reel.
TEST(StoryTest, talkOffTheScriptIsAnAsideAndNoHook) {
  const Story story = deviceStory(
      said("~hi ~camera ~people ~welcome ~back | my camera story starts with light | "
           "cheap cameras fail in dim light | ~by ~the ~way ~my ~camera ~was ~cheap ~too | "
           "good light beats a new camera | so buy a lamp before a camera"),
      "");
  EXPECT_EQ(keptText(story),
            "my camera story starts with light cheap cameras fail in dim light good light beats "
            "a new camera so buy a lamp before a camera");
}

TEST(StoryTest, sentencesThatShareNoWordsAreNoAsideWhenTheTakeNeverComesBack) {
  const std::string take = "here is the one thing nobody tells you about recording videos | "
                           "good light matters more than two expensive cameras | "
                           "because your face is what people watch";
  EXPECT_EQ(keptText(deviceStory(said(take), "")),
            "here is the one thing nobody tells you about recording videos good light matters "
            "more than two expensive cameras because your face is what people watch");
}

TEST(StoryTest, thePunchlineIsKeptWhenTheBudgetHasRoomForFewSentences) {
  const std::string take =
      "the worst email i ever sent got me a promotion | you see three typos in one line | "
      "you wrote two hundred angry words to me | one typo costs you one more meeting | "
      "it was promotion day";
  const std::string kept = keptText(deviceStory(said(take), "", Budget{2, 6}));
  EXPECT_EQ(kept.find("the worst email i ever sent got me a promotion"), 0u) << kept;
  EXPECT_NE(kept.find("it was promotion day"), std::string::npos) << kept;

  const std::string plain = "lamps beat new cameras | my cheap lamp glows warm | "
                            "you see three shadows on your face | a window is the best lamp";
  EXPECT_NE(keptText(deviceStory(said(plain), "", Budget{2, 4})).find("a window is the best lamp"),
            std::string::npos)
      << "without a line that echoes the hook, the last line closes the story";
}

// Running speech in which the recogniser heard no words is no pause: the sentence goes on
// through it and no cut falls in it.
TEST(StoryTest, speechTheRecogniserHeardNoWordsInIsNoPause) {
  const Transcript transcript =
      said("the worst email i ever sent + got me promoted | my boss read it | "
           "it was promotion day");
  const Story story = deviceStory(transcript, "");
  const Word& sent = transcript.words[5];
  const Word& got = transcript.words[6];
  EXPECT_TRUE(std::any_of(story.segments.begin(), story.segments.end(), [&](const Span& s) {
    return s.start <= sent.start && got.end <= s.end;
  }));
}

// The punchline lands on what leads up to it: with room for one sentence more, the one just
// before the punchline is kept rather than a livelier one further back.
TEST(StoryTest, thePunchlineKeepsItsLeadInBeforeLivelierSentences) {
  const std::string take =
      "the worst email i ever sent got me a promotion | you see three typos in that email | "
      "you wrote two hundred angry words in that email | my boss read it | it was promotion day";
  EXPECT_EQ(keptText(deviceStory(said(take), "", Budget{2, 7.2})),
            "the worst email i ever sent got me a promotion my boss read it it was promotion day");
}

TEST(StoryTest, cutsArePaddedOnlyAsFarAsTheNeighbouringWordsAllow) {
  const std::vector<Word> words = {{"a", 1, 1.5}, {"b", 1.5, 2}, {"c", 2.05, 2.5}, {"d", 4, 4.5}};
  const std::vector<Span> cuts = cutsAround(words, {{1, 1}, {3, 3}}, 5);
  ASSERT_EQ(cuts.size(), 2u);
  EXPECT_DOUBLE_EQ(cuts[0].start, 1.5) << "no room before b";
  EXPECT_DOUBLE_EQ(cuts[0].end, 2.05) << "only up to c";
  EXPECT_NEAR(cuts[1].start, 3.88, 1e-9);
  EXPECT_NEAR(cuts[1].end, 4.62, 1e-9);
}

std::vector<Word> wordsOf(const std::string& text, double confidence = 0.9) {
  std::vector<Word> words;
  std::istringstream items(text);
  double at = 0;
  for (std::string item; items >> item; at += 0.4) words.push_back({item, at, at + 0.3, confidence});
  return words;
}

std::string headlineOf(const std::string& hook) {
  Story story;
  Transcript transcript;
  transcript.words = wordsOf(hook);
  writeStoryText(story, transcript.words, "", transcript, {});
  std::string joined;
  for (const std::string& line : story.headline) joined += (joined.empty() ? "" : " ") + line;
  return joined;
}

TEST(StoryTextTest, theHeadlineIsAWholePhraseNeverCutMidPhrase) {
  EXPECT_EQ(headlineOf("the worst email i ever sent got me promoted"),
            "THE WORST EMAIL I EVER SENT GOT ME PROMOTED")
      << "a little over forty characters keeps the whole hook";
  EXPECT_EQ(headlineOf("the worst email i ever sent got me promoted because my boss read it "
                       "twice at the party"),
            "THE WORST EMAIL I EVER SENT GOT ME PROMOTED")
      << "the hook's first clause";
  const std::string longHook =
      headlineOf("here is the one thing nobody tells you about recording videos at home");
  EXPECT_LE(longHook.size(), 40u);
  const std::string last = longHook.substr(longHook.rfind(' ') + 1);
  for (const char* hanging : {"THE", "YOU", "ABOUT", "AT", "TO"}) EXPECT_NE(last, hanging);
}

TEST(StoryTextTest, aHookHeardUnsureIsNeitherHeadlineNorPostButAScriptsOwnWordsAre) {
  Story story;
  Transcript transcript;
  transcript.words = wordsOf("good light matters more than gear");
  transcript.words[2].confidence = 0.3;
  writeStoryText(story, transcript.words, "", transcript, {});
  EXPECT_TRUE(story.headline.empty());
  EXPECT_EQ(story.caption.find("ood"), std::string::npos) << story.caption;
  transcript.fromScript = true;
  writeStoryText(story, transcript.words, "", transcript, {});
  EXPECT_EQ(story.caption.rfind("Good light matters more than gear.", 0), 0u) << story.caption;
  EXPECT_FALSE(story.headline.empty());
  transcript.words = wordsOf("i think i'm right if it isn't");
  writeStoryText(story, transcript.words, "", transcript, {});
  EXPECT_EQ(story.caption.rfind("I think I'm right if it isn't.", 0), 0u) << story.caption;
}

TEST(StoryTextTest, hashtagsAreTheTopicsWordsNotTheMostFrequentSmallWords) {
  Story story;
  story.words = wordsOf(
      "because every mistake has a number because every number is a mistake every time "
      "sourdough needs a starter and my sourdough starter because");
  for (Word& word : story.words)
    if (word.text == "mistake") word.confidence = 0.3;  // heard unsure: never published
  Transcript transcript;
  transcript.words = story.words;
  writeStoryText(story, {story.words.begin(), story.words.begin() + 5}, "bread", transcript, {});
  const std::string caption = story.caption;
  EXPECT_NE(caption.find("#sourdough"), std::string::npos) << caption;
  EXPECT_NE(caption.find("#starter"), std::string::npos) << caption;
  for (const char* small : {"#because", "#every", "#number", "#mistake"})
    EXPECT_EQ(caption.find(small), std::string::npos) << caption;
}

TEST(StoryTest, aThemeBecomesTheHeadline) {
  const Story story = deviceStory(transcriptOf(4), "Light beats gear");
  EXPECT_EQ(story.headline, (std::vector<std::string>{"LIGHT BEATS GEAR"}));
}

TEST(StoryTest, aSentenceSaidWithMoreEnergyScoresHigher) {
  // Two sentences of the same words, the second said 6 dB louder, measured from the sound.
  Pcm pcm;
  pcm.samples.resize(std::size_t(6 * Pcm::kRate));
  for (std::size_t i = 0; i < pcm.samples.size(); ++i) {
    const double amplitude = i < std::size_t(3 * Pcm::kRate) ? 4000 : 8000;
    pcm.samples[i] = std::int16_t(amplitude * std::sin(double(i) * 0.2));
  }
  std::vector<Word> words;
  for (const double start : {0.5, 3.5})
    for (int w = 0; w < 4; ++w) words.push_back({kVocabulary[std::size_t(w)], start + w * 0.4, start + w * 0.4 + 0.3});
  measureLoudness(pcm, words);
  EXPECT_NEAR(words[4].loudness - words[0].loudness, 6.02, 0.1);
  std::vector<Sentence> sentences = splitSentences(words);
  ASSERT_EQ(sentences.size(), 2u);
  scoreSentences(sentences, words, "");
  EXPECT_NEAR(sentences[1].score - sentences[0].score, 0.5, 0.01) << "6 dB apart: half a point";
}

TEST(CaptionsTest, takeTimesMapOntoTheReelSegmentsBackToBack) {
  const std::vector<Span> segments = {{1, 3}, {5, 6}};
  EXPECT_DOUBLE_EQ(reelTime(segments, 2), 1);
  EXPECT_DOUBLE_EQ(reelTime(segments, 4), 2) << "between segments: the end of the one before";
  EXPECT_DOUBLE_EQ(reelTime(segments, 5.5), 2.5);
  EXPECT_DOUBLE_EQ(reelTime(segments, 9), 3);
}

TEST(CaptionsTest, aCaptionLineNeverRunsAcrossASentencesEnd) {
  Story story;
  story.segments = {{0, 3}};
  story.words = wordsOf("never believe press on");
  story.words[1].endsSentence = true;
  const std::string script = captionScript(story);
  EXPECT_EQ(script.find("BELIEVE {\\c&H00FFFFFF&}PRESS"), std::string::npos) << script;
  EXPECT_NE(script.find("{\\c&H0000D7FF&}PRESS"), std::string::npos) << script;
}

TEST(CaptionsTest, aWordHeardUnsureIsNeverBurnedInAndTheFlagsSaySo) {
  Story story;
  story.segments = {{0, 3}};
  story.words = wordsOf("good mumble light");
  story.words[1].confidence = 0.2;
  const std::string script = captionScript(story);
  EXPECT_EQ(script.find("MUMBLE"), std::string::npos) << script;
  EXPECT_NE(script.find("0:00:00.00,0:00:00.40,Words,,0,0,0,,{\\pos(510,1240)}{\\c&H0000D7FF&}GOOD\n"),
            std::string::npos)
      << "the caption is gone when the unsure word begins, and shares no line across it\n"
      << script;
  EXPECT_NE(script.find("{\\c&H0000D7FF&}LIGHT\n"), std::string::npos) << script;
  Transcript transcript;
  transcript.words = story.words;
  writeStoryText(story, story.words, "", transcript, {});
  EXPECT_NE(std::find(story.flags.begin(), story.flags.end(),
                      "Captions left out where words were unclear"),
            story.flags.end());
}

TEST(StoryTest, aScriptsSentenceEndSplitsSentencesWithoutAPause) {
  std::vector<Word> words = wordsOf("never believe press on");
  words[1].endsSentence = true;
  const std::vector<Sentence> sentences = splitSentences(words);
  ASSERT_EQ(sentences.size(), 2u);
  EXPECT_EQ(sentences[1].first, 2u);
}

TEST(CaptionsTest, eachWordIsShownLitWhileItIsSaid) {
  Story story;
  story.segments = {{0.9, 2.1}};
  story.words = {{"good", 1, 1.4}, {"light", 1.5, 2}};
  story.headline = {"GOOD LIGHT"};
  const std::string script = captionScript(story);
  EXPECT_NE(script.find("PlayResX: 1080"), std::string::npos);
  EXPECT_NE(script.find("PlayResY: 1920"), std::string::npos);
  EXPECT_NE(script.find("Dialogue: 0,0:00:00.00,0:00:03.00,Headline,,0,0,0,,GOOD LIGHT"),
            std::string::npos);
  EXPECT_NE(
      script.find("0:00:00.10,0:00:00.60,Words,,0,0,0,,{\\pos(510,1240)}{\\c&H0000D7FF&}GOOD"),
      std::string::npos);
  EXPECT_NE(script.find("{\\c&H0000D7FF&}LIGHT\n"), std::string::npos);
}

// The words keep clear of the camera: above a bubble low in the frame, below a camera pane on
// the upper half only when it reaches down to them, over the camera only when it fills the
// frame; and always left of the platforms' button column.
TEST(CaptionsTest, theWordsStandClearOfTheCamera) {
  Story story;
  story.segments = {{0.9, 2.1}};
  story.words = {{"good", 1, 1.4}};
  const auto placeWith = [&](const CameraPlace& camera) {
    const std::string script = captionScript(story, camera);
    const std::size_t at = script.find("{\\pos(");
    return at == std::string::npos ? std::string() : script.substr(at, script.find('}', at) - at + 1);
  };
  EXPECT_EQ(placeWith(std::nullopt), "{\\pos(510,1240)}");
  EXPECT_EQ(placeWith(std::array<double, 4>{0.55, 0.6, 0.35, 0.2}), "{\\pos(510,1022)}")
      << "a bubble from 1152 to 1536: the words above it";
  EXPECT_EQ(placeWith(std::array<double, 4>{0, 0, 1, 0.5}), "{\\pos(510,1240)}")
      << "a pane over the top half is clear of them";
  EXPECT_EQ(placeWith(std::array<double, 4>{0, 0, 1, 0.6}), "{\\pos(510,1282)}")
      << "a pane down to 1152: the words below it";
  EXPECT_EQ(placeWith(std::array<double, 4>{0, 0, 1, 1}), "{\\pos(510,1240)}");
  EXPECT_NE(captionScript(story).find("5,120,180,0,1\n"), std::string::npos)
      << "wider margin on the right, where the buttons are";
}

// Words and headlines may hold anything: none of it breaks the subtitle file.
TEST(CaptionsTest, controlCharactersAndPiledUpMarksNeverReachTheSubtitles) {
  Story story;
  story.segments = {{0.9, 2.1}};
  story.words = {{std::string("go\0od", 5), 1, 1.4}, {"li\nght", 1.5, 2}};
  story.headline = {std::string("GOOD\0 LIGHT", 11), "A\u0301\u0301\u0301\u0301\u0301B"};
  const std::string script = captionScript(story);
  EXPECT_EQ(script.find('\0'), std::string::npos);
  EXPECT_NE(script.find(",Headline,,0,0,0,,GOOD LIGHT\\NA\u0301\u0301B\n"), std::string::npos) << script;
  EXPECT_NE(script.find("{\\c&H0000D7FF&}GOOD"), std::string::npos) << script;
  EXPECT_NE(script.find("{\\c&H0000D7FF&}LI GHT\n"), std::string::npos) << script;
}

}  // namespace
}  // namespace vorn::cut
