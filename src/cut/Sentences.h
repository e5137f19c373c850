// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/SoundLevels.h"
#include "cut/Words.h"

#include <string>
#include <vector>

namespace vorn::cut {

// A run of words the speaker said as one sentence, with how much it is worth in a reel.
struct Sentence {
  std::size_t first = 0;  // index of its first word
  std::size_t last = 0;   // index of its last word
  double start = 0;
  double end = 0;
  double score = 0;

  double length() const { return end - start; }
};

// Sounds that carry no meaning and are cut out of a reel.
bool isFillerWord(const std::string& word);

// Words that open a question.
bool isQuestionWord(const std::string& word);

// Words that carry the meaning: not fillers, not the small words every sentence has.
bool isContentWord(const std::string& word);

// The thing a content word names, as the same thing said again is named: plural and
// possessive endings dropped ("lamps", "lamp's" → "lamp").
std::string topicOf(const std::string& word);

// Whether the speaker pauses for `pause` seconds or more between two words: the time between
// them is that long and, where the sound is measured, at least half of it is quiet (running
// speech between heard words holds words the recogniser missed, not a pause).
bool pausesBetween(const Word& before, const Word& after, const SoundLevels& levels,
                   double pause);

// Splits the words where a sentence of the script ends, where the speaker pauses for `pause`
// seconds or more, and after 30 words at the latest.
std::vector<Sentence> splitSentences(const std::vector<Word>& words,
                                     const SoundLevels& levels = {}, double pause = 0.45);

// Scores each sentence: how central its content words are to the whole take, how dense it
// is in them, cues a viewer stops for (numbers, questions, "you", the theme's words) and a
// lively pace; fillers and words the recogniser was unsure of cost.
void scoreSentences(std::vector<Sentence>& sentences, const std::vector<Word>& words,
                    const std::string& theme);

}  // namespace vorn::cut
