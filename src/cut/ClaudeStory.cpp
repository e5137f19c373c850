// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/ClaudeStory.h"

#include "cut/CutPlacement.h"
#include "cut/Outline.h"
#include "cut/StoryText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <optional>

namespace vorn::cut {
namespace {

constexpr int kMostSegments = 50;
constexpr int kMostHeadlineLines = 3;
constexpr qsizetype kLongestHeadlineLine = 60;
constexpr qsizetype kLongestCaption = 2200;
// Rounding in the answer's times is forgiven up to this.
constexpr double kTolerance = 0.5;

const char* const kInstructions =
    "You cut a short vertical video (a reel) from a recorded take. Below is the take's "
    "transcript, one sentence a line as [start-end] text, times in seconds.\n"
    "Choose the segments that make the strongest reel: keep the take's order, leave out "
    "fillers, false starts and repetition. Open on the line marked (hook) and keep the line "
    "marked (punchline) whole: it pays the hook off. Leave out lines marked (aside): they "
    "wander off the topic.\n";

const char* const kAnswerShape =
    "Answer with one JSON object and nothing else, exactly in this shape:\n"
    "{\"segments\":[{\"start\":0.0,\"end\":0.0}],\"headline\":[\"SHORT LINE\",\"SHORT LINE\"],"
    "\"caption\":\"the post caption, with a few hashtags\"}\n";

QJsonObject parseObject(const std::string& answer) {
  // A model may wrap its JSON in a code fence: take the outermost braces.
  const std::size_t open = answer.find('{');
  const std::size_t close = answer.rfind('}');
  if (open == std::string::npos || close == std::string::npos || close < open)
    throw CutError("claude's answer holds no JSON object.");
  QJsonParseError error{};
  const QJsonDocument document = QJsonDocument::fromJson(
      QByteArray::fromStdString(answer.substr(open, close - open + 1)), &error);
  if (error.error != QJsonParseError::NoError || !document.isObject())
    throw CutError("claude's answer is not valid JSON.");
  const QJsonObject object = document.object();
  if (object.size() != 3 || !object.contains("segments") || !object.contains("headline") ||
      !object.contains("caption"))
    throw CutError("claude's answer must hold exactly segments, headline and caption.");
  return object;
}

std::vector<Span> segmentsOf(const QJsonValue& value, double takeLength, Budget budget) {
  const QJsonArray list = value.toArray();
  if (!value.isArray() || list.isEmpty() || list.size() > kMostSegments)
    throw CutError("claude's segments must be a list of 1 to 50.");
  std::vector<Span> segments;
  double total = 0;
  for (const QJsonValue& item : list) {
    const QJsonObject segment = item.toObject();
    if (!item.isObject() || segment.size() != 2 || !segment["start"].isDouble() ||
        !segment["end"].isDouble())
      throw CutError("claude's segments must each be {\"start\": s, \"end\": s}.");
    const Span span{segment["start"].toDouble(), segment["end"].toDouble()};
    if (span.start < 0 || span.end <= span.start || span.end > takeLength + kTolerance ||
        (!segments.empty() && span.start < segments.back().end))
      throw CutError("claude's segments are out of order or outside the take.");
    segments.push_back(span);
    total += span.length();
  }
  if (total > std::min(budget.longest, takeLength) + kTolerance)
    throw CutError("claude's segments are longer than the reel may be.");
  return segments;
}

std::vector<std::string> headlineOf(const QJsonValue& value) {
  const QJsonArray list = value.toArray();
  if (!value.isArray() || list.isEmpty() || list.size() > kMostHeadlineLines)
    throw CutError("claude's headline must be one to three lines.");
  std::vector<std::string> lines;
  for (const QJsonValue& line : list) {
    const QString text = QString::fromStdString(displayable(line.toString().toStdString())).trimmed();
    if (!line.isString() || text.isEmpty() || text.size() > kLongestHeadlineLine)
      throw CutError("claude's headline lines must be short, non-empty strings.");
    lines.push_back(text.toUpper().toStdString());
  }
  return lines;
}

std::string captionOf(const QJsonValue& value) {
  const QString text = QString::fromStdString(displayable(value.toString().toStdString())).trimmed();
  if (!value.isString() || text.isEmpty() || text.size() > kLongestCaption)
    throw CutError("claude's caption must be a non-empty string.");
  return text.toStdString();
}

// Which words the segments hold (by their middles); fillers left out.
std::vector<bool> heldIn(const std::vector<Word>& words, const std::vector<Span>& segments) {
  std::vector<bool> held(words.size(), false);
  for (const Span& segment : segments)
    for (std::size_t i = 0; i < words.size(); ++i) {
      const double middle = (words[i].start + words[i].end) / 2;
      if (middle >= segment.start && middle <= segment.end && !isFillerWord(words[i].text))
        held[i] = true;
    }
  if (std::find(held.begin(), held.end(), true) == held.end())
    throw CutError("claude's segments hold no words.");
  return held;
}

// The hook and the punchline kept whole (their clutter aside), the asides left out.
void keepStoryLines(std::vector<bool>& held, const Outline& outline) {
  for (std::size_t s = 0; s < outline.sentences.size(); ++s) {
    const bool wanted = s == outline.hook || s == outline.punchline;
    if (!wanted && !outline.asides[s]) continue;
    for (std::size_t i = outline.sentences[s].first; i <= outline.sentences[s].last; ++i)
      held[i] = wanted && !outline.clutter[i];
  }
}

// The reel's length once its cuts are placed: over a noise the voice does not stand clear
// of, each segment ends further into the pause after it.
double placedLength(const Story& story, const Transcript& transcript) {
  const double room = transcript.clear ? 0 : kUnderNoiseTailSeconds;
  return story.length() + room * static_cast<double>(story.segments.size());
}

// The weakest sentence claude kept that the story can do without: neither hook nor punchline.
std::optional<std::size_t> weakestHeld(const std::vector<bool>& held, const Outline& outline) {
  std::optional<std::size_t> weakest;
  for (std::size_t s = 0; s < outline.sentences.size(); ++s) {
    const Sentence& sentence = outline.sentences[s];
    const bool kept = std::any_of(held.begin() + sentence.first, held.begin() + sentence.last + 1,
                                  [](bool h) { return h; });
    if (!kept || s == outline.hook || s == outline.punchline) continue;
    if (!weakest || sentence.score < outline.sentences[*weakest].score) weakest = s;
  }
  return weakest;
}

std::string markOf(const Outline& outline, std::size_t s) {
  if (s == outline.hook) return " (hook)";
  if (s == outline.punchline) return " (punchline)";
  return outline.asides[s] ? " (aside)" : "";
}

}  // namespace

std::string storyPrompt(const Transcript& transcript, const std::string& theme, Budget budget) {
  std::string prompt = kInstructions;
  char line[160];
  std::snprintf(line, sizeof line,
                "The reel lasts %.0f to %.0f seconds in all, never more than the take's %.1f.\n",
                budget.shortest, budget.longest, transcript.duration);
  prompt += line;
  if (!theme.empty()) prompt += "The user's brief for this reel: " + theme + "\n";
  prompt += kAnswerShape;
  prompt += "\nTranscript:\n";
  const Outline outline = outlineOf(transcript);
  for (std::size_t s = 0; s < outline.sentences.size(); ++s) {
    const Sentence& sentence = outline.sentences[s];
    std::snprintf(line, sizeof line, "[%.2f-%.2f] ", sentence.start, sentence.end);
    prompt += line +
              sentenceText({transcript.words.begin() + sentence.first,
                            transcript.words.begin() + sentence.last + 1}) +
              markOf(outline, s) + "\n";
  }
  return prompt;
}

Story claudeStory(const std::string& answer, const Transcript& transcript, Budget budget) {
  const QJsonObject object = parseObject(answer);
  std::vector<bool> held =
      heldIn(transcript.words, segmentsOf(object["segments"], transcript.duration, budget));
  Outline outline = outlineOf(transcript);
  scoreSentences(outline.sentences, transcript.words, "");
  // claude may pass over the lines the story stands on, or keep one that wanders off.
  keepStoryLines(held, outline);
  Story story;
  keepRuns(story, transcript, heldRuns(transcript, held));
  // claude counts the words' time; the room the cuts take may not fit, so the weakest
  // sentences go until it does.
  const double longest = std::min(budget.longest, transcript.duration) + kTolerance;
  while (placedLength(story, transcript) > longest) {
    const std::optional<std::size_t> weakest = weakestHeld(held, outline);
    if (!weakest)
      throw CutError("claude's segments leave no room for the hook and the punchline.");
    const Sentence& sentence = outline.sentences[*weakest];
    std::fill(held.begin() + sentence.first, held.begin() + sentence.last + 1, false);
    keepRuns(story, transcript, heldRuns(transcript, held));
  }
  story.headline = headlineOf(object["headline"]);
  story.caption = captionOf(object["caption"]);
  story.brand = "Made with Vorn";
  story.brain = "claude";
  return story;
}

}  // namespace vorn::cut
