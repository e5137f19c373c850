// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Sentences.h"

#include "cut/ScriptWords.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <optional>
#include <set>

namespace vorn::cut {
namespace {

constexpr std::size_t kLongestSentence = 30;

const std::set<std::string>& stopWords() {
  static const std::set<std::string> words = {
      "a",       "an",      "the",     "and",      "or",      "but",    "if",      "then",
      "of",      "to",      "in",      "on",       "at",      "for",    "with",    "by",
      "from",    "is",      "are",     "was",      "were",    "be",     "been",    "it",
      "its",     "it's",    "this",    "that",     "these",   "those",  "i",       "me",
      "my",      "we",      "our",     "he",       "she",     "they",   "them",    "his",
      "her",     "their",   "as",      "so",       "do",      "does",   "did",     "not",
      "no",      "can",     "will",    "just",     "have",    "has",    "had",     "there",
      "here",    "what",    "which",   "who",      "than",    "too",    "very",    "about",
      "into",    "out",     "up",      "down",     "all",     "any",    "some",    "more",
      "you",     "your",    "you're",  "yours",    "we're",   "they're", "that's", "there's",
      "what's",  "don't",   "didn't",  "doesn't",  "can't",   "won't",  "i'm",     "i've",
      "because", "every",   "never",   "always",   "really",  "thing",  "things",  "something",
      "anything", "nothing", "everything", "number", "would",  "could",  "should",  "after",
      "before",  "again",   "still",   "even",     "only",    "much",   "many",    "most",
      "other",   "over",    "going",   "gonna",    "want",    "like",   "know",    "think",
      "make",    "made",    "get",     "got",      "say",     "said",   "see",     "look",
      "way",     "well",    "also",    "when",     "where",   "why",    "how",     "while",
      "okay",    "yeah",    "let's",   "lot",      "kind",    "sort",   "ever",    "once",
      "anyway"};
  return words;
}

bool isNumber(const std::string& word) {
  static const std::set<std::string> numbers = {
      "one", "two",     "three",    "four",    "five",    "six",   "seven",  "eight", "nine",
      "ten", "hundred", "thousand", "million", "percent", "first", "second", "third"};
  return numbers.contains(word) || std::isdigit(static_cast<unsigned char>(word[0]));
}

std::map<std::string, int> contentCounts(const std::vector<Word>& words) {
  std::map<std::string, int> counts;
  for (const Word& word : words)
    if (isContentWord(word.text)) ++counts[word.text];
  return counts;
}

// The middle loudness of the measured words: what "said with energy" is judged against.
std::optional<double> typicalLoudness(const std::vector<Word>& words) {
  std::vector<double> levels;
  for (const Word& word : words)
    if (word.loudness < 0) levels.push_back(word.loudness);
  if (levels.empty()) return std::nullopt;
  std::nth_element(levels.begin(), levels.begin() + long(levels.size() / 2), levels.end());
  return levels[levels.size() / 2];
}

// Up to half a point for a sentence said 6 dB above the take's middle, as much off below it.
double energy(const Sentence& sentence, const std::vector<Word>& words, std::optional<double> typical) {
  if (!typical) return 0;
  double sum = 0;
  int measured = 0;
  for (std::size_t i = sentence.first; i <= sentence.last; ++i)
    if (words[i].loudness < 0) sum += words[i].loudness, ++measured;
  if (measured == 0) return 0;
  return 0.5 * std::clamp((sum / measured - *typical) / 6, -1.0, 1.0);
}

double scoreOf(const Sentence& sentence, const std::vector<Word>& words,
               const std::map<std::string, int>& counts, const std::set<std::string>& theme) {
  const double count = double(sentence.last - sentence.first + 1);
  double central = 0, content = 0, fillers = 0, confidence = 0, cues = 0;
  for (std::size_t i = sentence.first; i <= sentence.last; ++i) {
    const std::string& text = words[i].text;
    confidence += words[i].confidence;
    if (isFillerWord(text)) ++fillers;
    if (isNumber(text) || text == "you" || theme.contains(text)) cues += 0.5;
    if (!isContentWord(text)) continue;
    ++content;
    // Words said elsewhere in the take too tie this sentence to the whole.
    central += std::log1p(counts.at(text) - 1);
  }
  if (isQuestionWord(words[sentence.first].text)) cues += 1;
  const double rate = count / std::max(sentence.length(), 0.1);
  const double pace = rate < 1.5 ? -0.5 : 0;
  return central / std::sqrt(count) + content / count + std::min(cues, 2.0) + pace -
         fillers / count * 2 - (1 - confidence / count);
}

}  // namespace

bool isQuestionWord(const std::string& word) {
  return word == "why" || word == "how" || word == "what" || word == "when" || word == "who";
}

bool isContentWord(const std::string& word) {
  return word.size() >= 3 && !stopWords().contains(word) && !isFillerWord(word);
}

std::string topicOf(const std::string& word) {
  const auto endsWith = [&](const std::string& end) {
    return word.size() > end.size() + 2 && word.ends_with(end);
  };
  if (endsWith("'s")) return word.substr(0, word.size() - 2);
  if (endsWith("ies")) return word.substr(0, word.size() - 3) + "y";
  if (endsWith("s") && !endsWith("ss") && !endsWith("us") && !endsWith("is"))
    return word.substr(0, word.size() - 1);
  return word;
}

bool isFillerWord(const std::string& word) {
  static const std::set<std::string> fillers = {"um", "uh", "er", "ah", "hmm", "mm", "erm"};
  return fillers.contains(word);
}

bool pausesBetween(const Word& before, const Word& after, const SoundLevels& levels,
                   double pause) {
  return after.start - before.end >= pause &&
         (levels.db.empty() || levels.quietBetween(before.end, after.start) >= pause / 2);
}

std::vector<Sentence> splitSentences(const std::vector<Word>& words, const SoundLevels& levels,
                                     double pause) {
  std::vector<Sentence> sentences;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool opens = sentences.empty() || words[i - 1].endsSentence ||
                       pausesBetween(words[i - 1], words[i], levels, pause) ||
                       i - sentences.back().first >= kLongestSentence;
    if (opens) sentences.push_back({i, i, words[i].start, words[i].end, 0});
    sentences.back().last = i;
    sentences.back().end = words[i].end;
  }
  return sentences;
}

void scoreSentences(std::vector<Sentence>& sentences, const std::vector<Word>& words,
                    const std::string& theme) {
  const std::map<std::string, int> counts = contentCounts(words);
  std::set<std::string> themeWords;
  for (const std::string& word : scriptWords(theme))
    if (isContentWord(word)) themeWords.insert(word);
  const std::optional<double> typical = typicalLoudness(words);
  for (Sentence& sentence : sentences)
    sentence.score = scoreOf(sentence, words, counts, themeWords) + energy(sentence, words, typical);
}

}  // namespace vorn::cut
