// SPDX-License-Identifier: GPL-3.0-or-later
// Listening with the real recogniser to a take that espeak-ng read from a known script.
#include "SpokenTake.h"

#include "cut/Clutter.h"
#include "cut/EspeakPhones.h"
#include "cut/Listen.h"
#include "cut/Pauses.h"
#include "cut/ScriptWords.h"
#include "cut/SphinxRecogniser.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>

namespace vorn::cut {
namespace {

using test::spokenTake;

// Slack for the recogniser's 10 ms frames and espeak's quiet edges.
constexpr double kSlack = 0.15;

class ListenTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    pcm = new Pcm(decodeTakeAudio(spokenTake().path));
    scripted = new Transcript(listenTo(*pcm, spokenTake().script));
  }
  static void TearDownTestSuite() {
    delete scripted;
    delete pcm;
  }
  static Transcript listenTo(const Pcm& sound, const std::string& script) {
    return listen(
        sound, [] { return std::make_unique<SphinxRecogniser>(); }, script);
  }
  static Pcm* pcm;
  // The take listened to with its script known.
  static Transcript* scripted;
};

Pcm* ListenTest::pcm = nullptr;
Transcript* ListenTest::scripted = nullptr;

TEST_F(ListenTest, theTakesSoundIsDecodedWhole) {
  EXPECT_NEAR(pcm->duration(), spokenTake().duration, 0.05);
}

// The script's words come back in order, each inside the sentence it was said in, sure
// enough to be captioned.
void expectScriptInPlace(const Transcript& transcript, const test::SpokenTake& take) {
  EXPECT_TRUE(transcript.fromScript);
  std::vector<std::string> heard;
  for (const Word& word : transcript.words) heard.push_back(word.text);
  ASSERT_EQ(heard, scriptWords(take.script));
  std::size_t at = 0;
  for (std::size_t s = 0; s < take.sentences.size(); ++s) {
    const Span spoken = take.spoken[s];
    for (std::size_t i = 0; i < scriptWords(take.sentences[s]).size(); ++i, ++at) {
      const Word& word = transcript.words[at];
      EXPECT_GE(word.start, spoken.start - kSlack) << word.text;
      EXPECT_LE(word.end, spoken.end + kSlack) << word.text;
      EXPECT_LT(word.start, word.end) << word.text;
      EXPECT_GE(word.confidence, kSureConfidence) << word.text << " read clearly, so captioned";
      if (at > 0) {
        EXPECT_GE(word.start, transcript.words[at - 1].end) << word.text;
      }
    }
  }
}

TEST_F(ListenTest, aKnownScriptComesBackWordForWordInOrderWithinItsSentences) {
  expectScriptInPlace(*scripted, spokenTake());
  const test::SpokenTake& noisy = test::noisySpokenTake();
  expectScriptInPlace(listenTo(decodeTakeAudio(noisy.path), noisy.script), noisy);
}

// Only 4 dB over the noise the recogniser loses its place even in a known script, unless the
// noise is taken down first. Listening on two threads hears the same take the same way each
// time: over noise, the slightest difference in the dither moved words and sentences.
TEST_F(ListenTest, aScriptReadOverALoudFanIsStillLaidInPlaceTheSameEachTime) {
  const test::SpokenTake& drowned = test::drownedSpokenTake();
  const Pcm sound = decodeTakeAudio(drowned.path);
  const Transcript first = listenTo(sound, drowned.script);
  expectScriptInPlace(first, drowned);
  const Transcript again = listenTo(sound, drowned.script);
  ASSERT_EQ(again.words.size(), first.words.size());
  for (std::size_t i = 0; i < first.words.size(); ++i) {
    EXPECT_EQ(again.words[i].text, first.words[i].text);
    EXPECT_EQ(again.words[i].start, first.words[i].start) << first.words[i].text;
    EXPECT_EQ(again.words[i].end, first.words[i].end) << first.words[i].text;
    EXPECT_EQ(again.words[i].confidence, first.words[i].confidence) << first.words[i].text;
  }
}

// espeak, like a microphone behind a noise gate, leaves exact zeros between some words: the
// recogniser still follows the sentence to its last word.
TEST_F(ListenTest, aSentenceWithDigitalSilenceInsideIsLaidToItsLastWord) {
  const std::vector<std::string> sentences = {"The worst email I ever sent got me promoted."};
  const test::SpokenSound sound = test::spokenSound("gated", sentences);
  const test::SpokenTake take{sound.path, sentences[0] + "\n", sentences, sound.spoken,
                              sound.duration};
  expectScriptInPlace(listenTo(decodeTakeAudio(take.path), take.script), take);
}

// How far the first word of each sentence starts from where its sound rises (the energy
// onset): printed as a figure, held to a loose bound.
TEST_F(ListenTest, sentencesStartNearTheirSoundsOnset) {
  const Transcript& transcript = *scripted;
  const std::vector<Span> speech = findSpeech(*pcm);
  std::size_t first = 0;
  double worst = 0;
  for (std::size_t s = 0; s < spokenTake().sentences.size(); ++s) {
    const Span spoken = spokenTake().spoken[s];
    const auto onset = std::find_if(speech.begin(), speech.end(),
                                    [&](const Span& span) { return span.end > spoken.start; });
    ASSERT_NE(onset, speech.end());
    const double offset = transcript.words[first].start - onset->start;
    std::cout << transcript.words[first].text << ": " << std::lround(offset * 1000)
              << " ms from the onset\n";
    worst = std::max(worst, std::abs(offset));
    first += scriptWords(spokenTake().sentences[s]).size();
  }
  RecordProperty("worst_onset_ms", int(std::lround(worst * 1000)));
  EXPECT_LT(worst, 0.25);
}

TEST_F(ListenTest, withoutAScriptTheWordsHeardLieInTheSpeech) {
  const Transcript transcript = listenTo(*pcm, "");
  EXPECT_FALSE(transcript.fromScript);
  ASSERT_GE(transcript.words.size(), 10u);
  for (const Word& word : transcript.words) {
    const bool inSpeech = std::any_of(
        spokenTake().spoken.begin(), spokenTake().spoken.end(), [&](const Span& spoken) {
          return word.start >= spoken.start - kSlack && word.end <= spoken.end + kSlack;
        });
    EXPECT_TRUE(inSpeech) << word.text << " at " << word.start;
  }
}

// Over a fan 4 dB under the voice, free recognition mishears most words however sure it is
// (a script read over it is still captioned: `aScriptReadOverALoudFan…`).
TEST_F(ListenTest, overALoudFanNothingHeardFreelyIsSureEnoughToPublish) {
  const Transcript transcript = listenTo(decodeTakeAudio(test::drownedSpokenTake().path), "");
  ASSERT_FALSE(transcript.words.empty());
  for (const Word& word : transcript.words) EXPECT_LT(word.confidence, kSureConfidence) << word.text;
}

// "sourdough" is not in the recogniser's dictionary: it is taught espeak-ng's phones for it,
// and the word is laid on its own two syllables (about half a second of espeak-ng's voice).
TEST_F(ListenTest, aScriptWordTheDictionaryLacksIsLaidOnItsSoundAsEspeakSaysIt) {
  const std::string wav = test::scratch() + "/sourdough.wav";
  const std::string script = "I bake sourdough bread every weekend.";
  ASSERT_EQ(test::runCommand({"espeak-ng", "-w", wav, script}), 0);
  SphinxRecogniser taught;
  ASSERT_TRUE(taught.pronunciation("sourdough").empty()) << "the case needs a word it lacks";
  taught.learn({{"sourdough", espeakPhones("sourdough")}});
  EXPECT_EQ(taught.pronunciation("sourdough"), espeakPhones("sourdough"));
  EXPECT_FALSE(taught.pronunciation("bread").empty()) << "its own words stay";
  const Transcript heard = listenTo(decodeTakeAudio(wav), script);
  std::vector<std::string> texts;
  for (const Word& word : heard.words) texts.push_back(word.text);
  ASSERT_EQ(texts, scriptWords(script));
  const Word& bake = heard.words[1];
  const Word& sourdough = heard.words[2];
  const Word& bread = heard.words[3];
  EXPECT_GE(sourdough.start, bake.end - 1e-9);
  EXPECT_LE(sourdough.end, bread.start + 1e-9);
  EXPECT_GT(sourdough.end - sourdough.start, 0.4);
  EXPECT_LT(bake.end - bake.start, 0.35);
  EXPECT_LT(bread.end - bread.start, 0.35);
  EXPECT_GE(sourdough.confidence, kSureConfidence) << "captioned like its neighbours";
}

bool within(const Word& word, const Span& spoken) {
  return word.start >= spoken.start - kSlack && word.end <= spoken.end + kSlack;
}

// Free recognition lost after the opening sentence, as over a noise it mishears: the real
// recogniser's alignment, with nothing heard freely in a chunk starting after `lostFrom`.
class LostAfterTheOpening : public Recogniser {
 public:
  explicit LostAfterTheOpening(double lostFrom) : lostFrom_(lostFrom) {}
  std::vector<Word> transcribe(std::span<const std::int16_t> chunk, double offset) override {
    return offset < lostFrom_ ? real_.transcribe(chunk, offset) : std::vector<Word>{};
  }
  Alignment align(std::span<const std::int16_t> chunk, double offset,
                  const std::vector<std::string>& expected,
                  const std::vector<std::size_t>& pauses) override {
    return real_.align(chunk, offset, expected, pauses);
  }
  void listenForFillers(bool on) override { real_.listenForFillers(on); }
  void transcribeRoughly(bool on) override { real_.transcribeRoughly(on); }
  std::vector<std::string> pronunciation(const std::string& word) override {
    return real_.pronunciation(word);
  }
  void learn(const Pronunciations& words) override { real_.learn(words); }

 private:
  SphinxRecogniser real_;
  double lostFrom_;
};

// Every word heard freely falls in the opening chunk, so the plan gives it the whole script,
// whose first pause lies far from its end: each chunk's length at the reading pace still says
// where its share ends, and every sentence is laid where it was said.
TEST_F(ListenTest, aScriptIsLaidInPlaceThoughFreeRecognitionHeardOnlyTheOpening) {
  const std::vector<std::string> sentences = {
      "The worst email I ever sent got me promoted.",
      "My manager asked me to send the weekly report to the whole team at the end of the day.",
      "Within a month everybody on the team got a raise."};
  const test::SpokenSound sound = test::spokenSound("lost", sentences);
  std::string script;
  for (const std::string& sentence : sentences) script += sentence + "\n";
  const test::SpokenTake take{sound.path, script, sentences, sound.spoken, sound.duration};
  const double lostFrom = sound.spoken[0].end;
  expectScriptInPlace(
      listen(decodeTakeAudio(take.path),
             [lostFrom] { return std::make_unique<LostAfterTheOpening>(lostFrom); }, script),
      take);
}

// The take reads the script's first sentence, talks of something else, then reads the last:
// the skipped sentence is laid nowhere, and the other talk is kept but never sure enough to
// be captioned.
TEST_F(ListenTest, aTakeThatStraysFromItsScriptIsSureOnlyOfWhatItReads) {
  const std::vector<std::string>& script = spokenTake().sentences;
  const test::SpokenSound sound = test::spokenSound(
      "strays", {script[0], "My garden has roses, tomatoes and a small pond full of goldfish.",
                 script[2]});
  const Transcript transcript = listenTo(decodeTakeAudio(sound.path), spokenTake().script);
  EXPECT_TRUE(transcript.fromScript);
  std::size_t sure[2] = {0, 0}, talk = 0;
  for (const Word& word : transcript.words) {
    if (within(word, sound.spoken[1])) {
      ++talk;
      EXPECT_TRUE(word.offScript) << word.text << " at " << word.start;
    }
    if (word.confidence < kSureConfidence) continue;
    EXPECT_FALSE(word.offScript) << word.text << " at " << word.start;
    const std::vector<std::size_t> read = {0, 2};
    bool placed = false;
    for (std::size_t r = 0; r < 2; ++r) {
      const std::vector<std::string> said = scriptWords(script[read[r]]);
      if (!within(word, sound.spoken[read[r]]) ||
          std::find(said.begin(), said.end(), word.text) == said.end())
        continue;
      placed = true;
      ++sure[r];
    }
    EXPECT_TRUE(placed) << word.text << " at " << word.start << " is sure but not said there";
  }
  EXPECT_GE(sure[0], scriptWords(script[0]).size() * 3 / 4);
  EXPECT_GE(sure[1], scriptWords(script[2]).size() * 3 / 4);
  EXPECT_GT(talk, 0u) << "the other talk is kept";
}

// The reading of `said` with a false start and a filler, against the `script` without them.
void expectFalseStartAndFillerApart(const std::vector<std::string>& said, const std::string& script,
                                    const Transcript& transcript) {
  std::vector<Word> read, talk;
  std::vector<std::string> texts, talked;
  for (const Word& word : transcript.words) {
    (word.offScript ? talk : read).push_back(word);
    (word.offScript ? talked : texts).push_back(word.text);
  }
  ASSERT_EQ(texts, scriptWords(script));
  ASSERT_EQ(talked, (std::vector<std::string>{"you", "know", "i", "sent", "the"}));
  const std::size_t night = scriptWords(said[0]).size() + 5;
  EXPECT_GT(talk[0].start, read[night].end - 1e-9) << "the filler between the words it came between";
  EXPECT_LT(talk[1].end, read[night + 1].start + 1e-9);
  const Word& retried = read[scriptWords(script).size() - scriptWords(said[2]).size() + 3];
  EXPECT_GT(retried.start, talk.back().end - 1e-9) << "laid on the second try";
  for (const Word& word : talk) EXPECT_LT(word.confidence, kSureConfidence) << word.text;
  const std::vector<bool> clutter = clutterIn(transcript);
  for (std::size_t i = 0; i < transcript.words.size(); ++i)
    EXPECT_EQ(clutter[i], transcript.words[i].offScript) << transcript.words[i].text << " at "
                                                          << transcript.words[i].start;
}

// A sentence that opens with a false start: the script is laid on the try that goes on, and
// the first try is kept as talk off the script, for the story to leave out. So too over a
// music bed, which unlike a broad noise is not heard as talk.
TEST_F(ListenTest, aFalseStartAndAFillerAreNotTheReadingAndTheStoryLeavesThemOut) {
  const std::vector<std::string> said = {"My manager asked me to send the weekly report.",
                                         "I wrote it late at night, you know, tired and in a hurry.",
                                         "I sent the, I sent the whole report to forty people."};
  const std::string script =
      "My manager asked me to send the weekly report.\nI wrote it late at night, tired and in a hurry.\n"
      "I sent the whole report to forty people.\n";
  const test::SpokenSound sound = test::spokenSound("false-start", said);
  const test::SpokenSound other = test::spokenSound("false-start-f2", said, {"-v", "en-us+f2", "-s", "155"});
  for (const std::string& path : {sound.path, test::underMusic(other)}) {
    SCOPED_TRACE(path);
    const Transcript transcript = listenTo(decodeTakeAudio(path), script);
    expectFalseStartAndFillerApart(said, script, transcript);
  }
}

// "Uh" where the reader pauses is a hesitation, not the script's weak "a" after it drawn out
// over it; nowhere else is one heard, not even on the breathy opening of "her".
TEST_F(ListenTest, aHesitationWhereTheReaderPausesIsNotTakenForTheWordAfterIt) {
  const test::SpokenSound sound = test::spokenSound(
      "hesitation",
      {"I attached the wrong file, uh, a spreadsheet with everybody's salary.",
       "The next morning my manager called me into her office."},
      {"-v", "en-us+m3", "-s", "150"});
  const std::string script =
      "I attached the wrong file, a spreadsheet with everybody's salary.\n"
      "The next morning my manager called me into her office.\n";
  const Transcript transcript = listenTo(decodeTakeAudio(sound.path), script);
  std::vector<std::string> texts, talked;
  for (const Word& word : transcript.words) (word.offScript ? talked : texts).push_back(word.text);
  ASSERT_EQ(texts, scriptWords(script));
  ASSERT_EQ(talked, std::vector<std::string>{"uh"});
  const auto find = [&](const std::string& text, bool offScript) {
    return *std::find_if(transcript.words.begin(), transcript.words.end(), [&](const Word& word) {
      return word.text == text && word.offScript == offScript;
    });
  };
  const Word hesitation = find("uh", true), a = find("a", false);
  EXPECT_GE(a.start, hesitation.end - 1e-9) << "the script's \"a\" is laid after the hesitation";
  EXPECT_LT(a.end - a.start, 0.15) << "not drawn out over it";
  const std::vector<bool> clutter = clutterIn(transcript);
  for (std::size_t i = 0; i < transcript.words.size(); ++i)
    EXPECT_EQ(clutter[i], transcript.words[i].offScript) << transcript.words[i].text;
}

// "So um" before a sentence is talk the script doesn't hold; the alignment may lay a first try
// at "it was" on it, which fits those words far worse than their reading does.
TEST_F(ListenTest, talkBeforeASentenceIsNotTakenForAFirstTryAtIt) {
  const test::SpokenSound sound = test::spokenSound(
      "so-um",
      {"The worst email I ever sent got me promoted.",
       "So um, it was my first week at a new job in a big office."},
      {"-v", "en", "-s", "165"});
  const std::string script =
      "The worst email I ever sent got me promoted.\nIt was my first week at a new job in a big "
      "office.\n";
  const Transcript transcript = listenTo(decodeTakeAudio(sound.path), script);
  std::vector<std::string> texts;
  for (const Word& word : transcript.words) texts.push_back(word.text);
  EXPECT_EQ(texts, scriptWords(script));
}

TEST_F(ListenTest, silenceHoldsNoUsableSpeech) {
  Pcm silence;
  silence.samples.assign(Pcm::kRate * 3, 0);
  try {
    listenTo(silence, "");
    ADD_FAILURE() << "silence was heard as speech";
  } catch (const CutError& error) {
    EXPECT_NE(std::string(error.what()).find("no usable speech"), std::string::npos);
  }
}

}  // namespace
}  // namespace vorn::cut
