// SPDX-License-Identifier: GPL-3.0-or-later
// The story claude writes: its answer checked strictly, and the device's story whenever
// claude is missing, fails, hangs or answers wrongly. A shell script stands in for claude.
#include "cut/ClaudeStory.h"
#include "cut/CutPlacement.h"
#include "cut/StoryWriter.h"
#include "cut/OverANoise.h"
#include "support/Eventually.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace vorn::cut {
namespace {

// `sentences` said one after another: words of 0.45 s every 0.5 s, 1.5 s between sentences,
// from 1 s into a take that ends 1.5 s after the last word.
Transcript said(const std::vector<std::vector<std::string>>& sentences) {
  Transcript transcript;
  double at = 1;
  for (const auto& sentence : sentences) {
    for (const std::string& word : sentence) {
      transcript.words.push_back({word, at, at + 0.45, 1});
      at += 0.5;
    }
    at += 1.5;
  }
  transcript.duration = at;
  return transcript;
}

// Three sentences: "good light matters" 1-2.5 s, "your face wins" 4-5.5 s, "um so watch" 7-8.5 s.
Transcript threeSentences() {
  return said({{"good", "light", "matters"}, {"your", "face", "wins"}, {"um", "so", "watch"}});
}

// A story about light with an aside about a cat in its third sentence.
Transcript withAnAside() {
  return said({{"my", "camera", "story", "starts", "with", "light"},
               {"cheap", "cameras", "fail", "in", "dim", "light"},
               {"my", "cat", "knocked", "a", "plant", "off", "the", "shelf"},
               {"good", "light", "beats", "a", "new", "camera"}});
}

std::vector<std::string> textsOf(const Story& story) {
  std::vector<std::string> words;
  for (const Word& word : story.words) words.push_back(word.text);
  return words;
}

const char* const kGood =
    "```json\n{\"segments\":[{\"start\":0.9,\"end\":2.6},{\"start\":6.9,\"end\":8.6}],"
    "\"headline\":[\"Good light\",\"wins\"],\"caption\":\"Light first. #light\"}\n```\n";

TEST(ClaudeStoryTest, aGoodAnswerBecomesTheStorySnappedToWords) {
  const Story story = claudeStory(kGood, threeSentences(), Budget{});
  EXPECT_EQ(story.brain, "claude");
  EXPECT_EQ(story.headline, (std::vector<std::string>{"GOOD LIGHT", "WINS"}));
  EXPECT_EQ(story.caption, "Light first. #light");
  EXPECT_EQ(textsOf(story), (std::vector<std::string>{"good", "light", "matters", "so", "watch"}));
  ASSERT_EQ(story.segments.size(), 2u);
  EXPECT_NEAR(story.segments[1].start, 7.45, 1e-9) << "the filler is cut, right at its end";
}

// claude may pass over the opening or the closing line, or keep a line off the topic.
TEST(ClaudeStoryTest, theHookAndThePunchlineAreKeptAndAnAsideLeftOutWhateverTheAnswer) {
  const Story middle = claudeStory(
      R"({"segments":[{"start":3.9,"end":5.6}],"headline":["A"],"caption":"c"})",
      threeSentences(), Budget{});
  EXPECT_EQ(textsOf(middle), (std::vector<std::string>{"good", "light", "matters", "your",
                                                        "face", "wins", "so", "watch"}));
  const Story all = claudeStory(
      R"({"segments":[{"start":0.5,"end":19.5}],"headline":["A"],"caption":"c"})", withAnAside(),
      Budget{});
  for (const std::string& word : textsOf(all)) EXPECT_NE(word, "cat");
  EXPECT_EQ(textsOf(all).size(), 18u) << "the three sentences on the topic";
  EXPECT_THROW(
      claudeStory(R"({"segments":[{"start":7.9,"end":11}],"headline":["A"],"caption":"c"})",
                  withAnAside(), Budget{2, 5}),
               CutError)
      << "no room left for the hook and the punchline";
}

// Over a noise the voice does not stand clear of, each cut ends further into its pause than
// claude can know: the weakest sentences make room, never the hook or the punchline.
TEST(ClaudeStoryTest, aNoisyTakesReelStaysWithinTheBudgetOnceItsCutsArePlaced) {
  const std::vector<std::string> vocabulary = {"light", "camera", "face", "people", "watch",
                                               "video", "three", "reasons", "story", "sound"};
  std::vector<std::vector<std::string>> sentences(22);
  for (std::size_t s = 0; s < sentences.size(); ++s)
    for (std::size_t w = 0; w < 6; ++w)
      sentences[s].push_back(vocabulary[(s * 7 + w) % vocabulary.size()]);
  Transcript transcript = said(sentences);
  test::hearOverANoise(transcript);
  // Nineteen sentences of 2.95 s each, 58 s of words.
  std::string segments;
  for (std::size_t s = 0; s < 19; ++s) {
    const double start = 1 + 4.5 * static_cast<double>(s);
    segments += (s ? "," : "") + QStringLiteral(R"({"start":%1,"end":%2})")
                                     .arg(start - 0.05)
                                     .arg(start + 3)
                                     .toStdString();
  }
  Story story = claudeStory(
      R"({"segments":[)" + segments + R"(],"headline":["A"],"caption":"c"})", transcript, Budget{});
  std::vector<double> pictures;
  for (int i = 0; i < transcript.duration * 30; ++i) pictures.push_back(i / 30.0);
  placeCuts(story, transcript, PictureGrid(pictures));
  EXPECT_LE(story.length(), 60);
  EXPECT_GE(story.length(), 50) << "and the budget is still used";
  EXPECT_EQ(story.words.front().start, 1) << "the hook stays";
  EXPECT_EQ(story.words.back().end, transcript.words.back().end) << "the punchline stays";
}

TEST(ClaudeStoryTest, wrongAnswersAreRefused) {
  const std::vector<std::string> wrong = {
      "I think the best part is the middle.",
      "{\"segments\": [}",
      R"({"segments":[{"start":1,"end":2}],"headline":["A"],"caption":"c","mood":"x"})",
      R"({"segments":[{"start":4,"end":5},{"start":1,"end":2}],"headline":["A"],"caption":"c"})",
      R"({"segments":[{"start":1,"end":30}],"headline":["A"],"caption":"c"})",
      R"({"segments":[{"start":"1","end":2}],"headline":["A"],"caption":"c"})",
      R"({"segments":[],"headline":["A"],"caption":"c"})",
      R"({"segments":[{"start":1,"end":2}],"headline":[],"caption":"c"})",
      R"({"segments":[{"start":1,"end":2}],"headline":["A"],"caption":7})",
      R"({"segments":[{"start":3.1,"end":3.9}],"headline":["A"],"caption":"c"})",
  };
  for (const std::string& answer : wrong)
    EXPECT_THROW(claudeStory(answer, threeSentences(), Budget{}), CutError) << answer;
}

TEST(ClaudeStoryTest, thePromptHoldsTheTimedSentencesAndTheBrief) {
  const std::string prompt = storyPrompt(threeSentences(), "light", Budget{});
  EXPECT_NE(prompt.find("[1.00-2.45] Good light matters."), std::string::npos) << prompt;
  EXPECT_NE(prompt.find("[7.00-8.45] Um so watch."), std::string::npos) << prompt;
  EXPECT_NE(prompt.find("brief for this reel: light"), std::string::npos);
  const std::string marked = storyPrompt(withAnAside(), "", Budget{});
  EXPECT_NE(marked.find("starts with light. (hook)\n"), std::string::npos) << marked;
  EXPECT_NE(marked.find("off the shelf. (aside)\n"), std::string::npos) << marked;
  EXPECT_NE(marked.find("a new camera. (punchline)\n"), std::string::npos) << marked;
}

// A stand-in claude at $VORN_CLAUDE_PATH running `body` (/bin/sh; "$2" is the prompt).
class FakeClaude : public testing::Test {
 protected:
  void TearDown() override {
    qunsetenv("VORN_CLAUDE_PATH");
    qunsetenv("VORN_CLAUDE_TIMEOUT");
  }
  void install(const QByteArray& body) {
    const QString path = dir.filePath(QStringLiteral("claude"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\n" + body);
    file.close();
    file.setPermissions(file.permissions() | QFile::ExeOwner);
    qputenv("VORN_CLAUDE_PATH", QFile::encodeName(path));
  }
  Story write() {
    Options options;
    options.brain = "claude";
    return writeStory(options, threeSentences());
  }
  QTemporaryDir dir;
};

// The prompt goes on standard input, never in the arguments every local user can read.
TEST_F(FakeClaude, aGoodAnswerIsUsedAndTheTranscriptWasSentOnStandardInput) {
  install("here=\"$(dirname \"$0\")\"\nprintf '%s\\n' \"$@\" > \"$here/arguments\"\n"
          "cat > \"$here/prompt\"\ncat <<'EOF'\n" + QByteArray(kGood) + "EOF\n");
  EXPECT_EQ(write().brain, "claude");
  QFile prompt(dir.filePath(QStringLiteral("prompt")));
  ASSERT_TRUE(prompt.open(QIODevice::ReadOnly));
  EXPECT_TRUE(prompt.readAll().contains("Your face wins."));
  QFile arguments(dir.filePath(QStringLiteral("arguments")));
  ASSERT_TRUE(arguments.open(QIODevice::ReadOnly));
  EXPECT_EQ(arguments.readAll(), "-p\n");
}

// Whether the process `pid` has ended (a zombie has).
bool ended(const QByteArray& pid) {
  QFile stat("/proc/" + pid.trimmed() + "/stat");
  if (!stat.open(QIODevice::ReadOnly)) return true;
  const QByteArray line = stat.readAll();
  return line.mid(line.lastIndexOf(')') + 2, 1) == "Z";
}

// A claude that floods its output or outstays its time is ended with all it started, and the
// device writes the story.
TEST_F(FakeClaude, aFloodOrAHangEndsClaudeWithItsChildren) {
  install("exec yes 'flood'\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(write().brain, "device");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("1 MB"), std::string::npos);

  install("sleep 60 &\necho $! > \"$(dirname \"$0\")/child\"\nwait\n");
  qputenv("VORN_CLAUDE_TIMEOUT", "3");
  EXPECT_EQ(write().brain, "device");
  QFile child(dir.filePath(QStringLiteral("child")));
  ASSERT_TRUE(child.open(QIODevice::ReadOnly));
  const QByteArray pid = child.readAll();
  EXPECT_TRUE(test::eventually([&] { return ended(pid); })) << "claude's child lives on";
}

TEST_F(FakeClaude, garbageAFailureAHangOrNoClaudeFallBackToTheDevice) {
  install("echo 'Sure! Here is a great reel.'\n");
  EXPECT_EQ(write().brain, "device");
  install("echo '{}'\nexit 3\n");
  EXPECT_EQ(write().brain, "device");
  install("exec sleep 30\n");
  qputenv("VORN_CLAUDE_TIMEOUT", "0.5");
  EXPECT_EQ(write().brain, "device");
  qputenv("VORN_CLAUDE_PATH", QFile::encodeName(dir.filePath(QStringLiteral("nowhere"))));
  EXPECT_EQ(write().brain, "device");
}

}  // namespace
}  // namespace vorn::cut
