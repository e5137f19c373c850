// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/ClaudeStory.h"

#include "cut/Sentences.h"
#include "cut/StoryText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

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
    "Choose the segments that make the strongest reel: open with a hook, keep the take's "
    "order, leave out fillers, false starts and repetition.\n";

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

// The words each segment holds (by their middles), as runs; fillers left out.
WordRuns runsIn(const std::vector<Word>& words, const std::vector<Span>& segments) {
  WordRuns runs;
  for (const Span& segment : segments) {
    bool open = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
      const double middle = (words[i].start + words[i].end) / 2;
      const bool inside =
          middle >= segment.start && middle <= segment.end && !isFillerWord(words[i].text);
      if (inside && open) runs.back().second = i;
      if (inside && !open) runs.push_back({i, i});
      open = inside;
    }
  }
  if (runs.empty()) throw CutError("claude's segments hold no words.");
  return runs;
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
  for (const Sentence& sentence : splitSentences(transcript.words)) {
    std::snprintf(line, sizeof line, "[%.2f-%.2f] ", sentence.start, sentence.end);
    prompt += line +
              sentenceText({transcript.words.begin() + sentence.first,
                            transcript.words.begin() + sentence.last + 1}) +
              "\n";
  }
  return prompt;
}

Story claudeStory(const std::string& answer, const Transcript& transcript, Budget budget) {
  const QJsonObject object = parseObject(answer);
  Story story;
  keepRuns(story, transcript,
           runsIn(transcript.words, segmentsOf(object["segments"], transcript.duration, budget)));
  story.headline = headlineOf(object["headline"]);
  story.caption = captionOf(object["caption"]);
  story.brand = "Made with Vorn";
  story.brain = "claude";
  return story;
}

}  // namespace vorn::cut
