// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/StoryText.h"

#include "cut/ScriptWords.h"
#include "cut/Sentences.h"

#include <QString>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <tuple>

namespace vorn::cut {
namespace {

// A headline is read at a glance: about this many characters, a little more when that keeps
// the whole hook.
constexpr std::size_t kHeadlineChars = 40;
constexpr std::size_t kHeadlineSlack = 8;
constexpr std::size_t kHashtags = 3;
constexpr std::size_t kShortestTag = 4;

std::size_t charsOf(const std::vector<std::string>& words, std::size_t count) {
  std::size_t chars = count > 0 ? count - 1 : 0;
  for (std::size_t i = 0; i < count; ++i) chars += words[i].size();
  return chars;
}

bool opensClause(const std::string& word) {
  static const std::set<std::string> openers = {"and",   "but",   "because", "so",  "when",
                                                "which", "while", "if",      "then", "until"};
  return openers.contains(word);
}

// How many of the opening words make the headline: all when they fit; else the first clause
// when it fits; else the most that fit and end on a word that carries meaning, so no phrase
// is left hanging on "the" or "to".
std::size_t phraseLength(const std::vector<std::string>& words) {
  if (charsOf(words, words.size()) <= kHeadlineChars + kHeadlineSlack) return words.size();
  for (std::size_t i = 2; i < words.size(); ++i)
    if (opensClause(words[i])) {
      if (charsOf(words, i) <= kHeadlineChars + kHeadlineSlack) return i;
      break;
    }
  std::size_t fits = 0;
  while (fits < words.size() && charsOf(words, fits + 1) <= kHeadlineChars) ++fits;
  for (std::size_t count = fits; count > 0; --count)
    if (isContentWord(words[count - 1])) return count;
  return std::max<std::size_t>(fits, 1);
}

// The phrase in capitals, in two lines of about equal width when it is longer than three words.
std::vector<std::string> headlineLines(std::vector<std::string> words) {
  if (words.empty()) return {};
  words.resize(std::min(words.size(), phraseLength(words)));
  for (std::string& word : words)
    std::transform(word.begin(), word.end(), word.begin(),
                   [](unsigned char c) { return char(std::toupper(c)); });
  std::size_t split = words.size();
  if (words.size() > 3) {
    const std::size_t total = charsOf(words, words.size());
    for (std::size_t i = 1; i < words.size(); ++i)
      if (std::max(charsOf(words, i), total - charsOf(words, i)) <
          std::max(charsOf(words, split), total - charsOf(words, split)))
        split = i;
  }
  std::vector<std::string> lines(split < words.size() ? 2 : 1);
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string& line = lines[i < split ? 0 : 1];
    line += (line.empty() ? "" : " ") + words[i];
  }
  return lines;
}

bool taggable(const Word& word) {
  return word.text.size() >= kShortestTag && word.confidence >= kSureConfidence &&
         isContentWord(word.text) &&
         std::all_of(word.text.begin(), word.text.end(),
                     [](unsigned char c) { return std::isalpha(c); });
}

// The take's topic words: the theme's first, then the content words said most often in the
// reel, the longer first among equals (longer words are more often the nouns of the topic).
std::vector<std::string> hashtags(const std::vector<Word>& words, const std::string& theme) {
  std::map<std::string, int> counts;
  for (const Word& word : words)
    if (taggable(word)) ++counts[word.text];
  std::vector<std::pair<std::string, int>> ranked(counts.begin(), counts.end());
  const std::vector<std::string> themeWords = scriptWords(theme);
  const auto inTheme = [&](const std::string& word) {
    return std::find(themeWords.begin(), themeWords.end(), word) != themeWords.end();
  };
  std::stable_sort(ranked.begin(), ranked.end(), [&](const auto& a, const auto& b) {
    return std::tuple(inTheme(a.first), a.second, a.first.size()) >
           std::tuple(inTheme(b.first), b.second, b.first.size());
  });
  std::vector<std::string> tags;
  for (std::size_t i = 0; i < ranked.size() && i < kHashtags; ++i)
    tags.push_back("#" + ranked[i].first);
  return tags;
}

std::vector<std::string> flagsFor(const Story& story, const Transcript& transcript, Budget budget) {
  std::vector<std::string> flags;
  if (story.length() < budget.shortest) flags.push_back("Short: under 20 seconds of speech");
  double confidence = 0;
  for (const Word& word : transcript.words) confidence += word.confidence;
  if (confidence / transcript.words.size() < kSureConfidence)
    flags.push_back("Some words were hard to hear");
  if (transcript.fromScript) flags.push_back("Captions follow your script");
  if (std::any_of(story.words.begin(), story.words.end(),
                  [](const Word& word) { return word.confidence < kSureConfidence; }))
    flags.push_back("Captions left out where words were unclear");
  return flags;
}

bool isLineBreak(char32_t c) {
  const QChar::Category category = QChar::category(c);
  return c == '\n' || c == '\r' || c == '\t' || category == QChar::Separator_Line ||
         category == QChar::Separator_Paragraph;
}

bool isCombining(char32_t c) {
  const QChar::Category category = QChar::category(c);
  return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining ||
         category == QChar::Mark_Enclosing;
}

}  // namespace

std::string displayable(const std::string& text) {
  constexpr int kMostMarks = 2;
  std::u32string kept;
  int marks = 0;
  for (char32_t c : QString::fromStdString(text).toStdU32String()) {
    if (isLineBreak(c)) c = ' ';
    if (QChar::category(c) == QChar::Other_Control) continue;
    marks = isCombining(c) ? marks + 1 : 0;
    if (marks <= kMostMarks) kept += c;
  }
  return QString::fromStdU32String(kept).toStdString();
}

std::string sentenceText(const std::vector<Word>& words) {
  std::string text;
  for (const Word& word : words) {
    // Words are heard in lower case; "I" and its contractions ("I'm") are written upper.
    const bool isI = word.text == "i" || word.text.starts_with("i'");
    text += (text.empty() ? "" : " ") + (isI ? "I" + word.text.substr(1) : word.text);
  }
  if (text.empty()) return text;
  text[0] = char(std::toupper(static_cast<unsigned char>(text[0])));
  const std::string& first = words.front().text;
  const bool question = first == "why" || first == "how" || first == "what" || first == "when";
  return text + (question ? "?" : ".");
}

void writeStoryText(Story& story, const std::vector<Word>& hook, const std::string& theme,
                    const Transcript& transcript, Budget budget) {
  // The hook's words are published as written only when they are known: the script's own, or
  // all heard with confidence. A guess in the headline or the post is worse than none.
  const bool hookKnown = std::all_of(hook.begin(), hook.end(), [&](const Word& word) {
    return (transcript.fromScript && !word.offScript) || word.confidence >= kSureConfidence;
  });
  std::vector<std::string> hookWords;
  if (hookKnown)
    for (const Word& word : hook) hookWords.push_back(word.text);
  const std::vector<std::string> themeWords = scriptWords(theme);
  story.headline = headlineLines(themeWords.empty() ? hookWords : themeWords);
  story.caption = hookKnown ? sentenceText(hook) : "";
  for (const std::string& tag : hashtags(story.words, theme))
    story.caption += (story.caption.empty() ? "" : " ") + tag;
  story.flags = flagsFor(story, transcript, budget);
  story.brand = "Made with Vorn";
}

}  // namespace vorn::cut
