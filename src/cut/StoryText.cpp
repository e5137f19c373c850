#include "cut/StoryText.h"

#include "cut/ScriptWords.h"
#include "cut/Sentences.h"

#include <QString>

#include <algorithm>
#include <cctype>
#include <map>

namespace vorn::cut {
namespace {

constexpr std::size_t kHeadlineWords = 8;
constexpr std::size_t kHashtags = 3;
constexpr double kUnsureConfidence = 0.6;

std::vector<std::string> headlineLines(std::vector<std::string> words) {
  words.resize(std::min(words.size(), kHeadlineWords));
  std::vector<std::string> lines(words.size() > 3 ? 2 : 1);
  const std::size_t split = words.size() > 3 ? (words.size() + 1) / 2 : words.size();
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string& line = lines[i < split ? 0 : 1];
    line += (line.empty() ? "" : " ") + words[i];
  }
  for (std::string& line : lines)
    std::transform(line.begin(), line.end(), line.begin(),
                   [](unsigned char c) { return char(std::toupper(c)); });
  return lines;
}

// The longer content words said most often in the reel's part of the take.
std::vector<std::string> hashtags(const std::vector<Word>& words) {
  std::map<std::string, int> counts;
  for (const Word& word : words)
    if (word.text.size() >= 5 && isContentWord(word.text) &&
        word.text.find('\'') == std::string::npos)
      ++counts[word.text];
  std::vector<std::pair<std::string, int>> ranked(counts.begin(), counts.end());
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
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
  if (confidence / transcript.words.size() < kUnsureConfidence)
    flags.push_back("Some words were hard to hear");
  if (transcript.fromScript) flags.push_back("Captions follow your script");
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
  for (const Word& word : words) text += (text.empty() ? "" : " ") + word.text;
  if (text.empty()) return text;
  text[0] = char(std::toupper(static_cast<unsigned char>(text[0])));
  const std::string& first = words.front().text;
  const bool question = first == "why" || first == "how" || first == "what" || first == "when";
  return text + (question ? "?" : ".");
}

void writeStoryText(Story& story, const std::vector<Word>& hook, const std::string& theme,
                    const Transcript& transcript, Budget budget) {
  std::vector<std::string> hookWords;
  for (const Word& word : hook) hookWords.push_back(word.text);
  const std::vector<std::string> themeWords = scriptWords(theme);
  story.headline = headlineLines(themeWords.empty() ? hookWords : themeWords);
  story.caption = sentenceText(hook);
  for (const std::string& tag : hashtags(story.words)) story.caption += " " + tag;
  story.flags = flagsFor(story, transcript, budget);
  story.brand = "Made with Vorn";
}

}  // namespace vorn::cut
