// SPDX-License-Identifier: GPL-3.0-or-later
#include "reels/ReelMessage.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

namespace vorn {
namespace {

using ReelMessage::Effect;

QJsonObject json(const char* text) { return QJsonDocument::fromJson(text).object(); }

const QString kCouldNotMake = QStringLiteral("Couldn't make a reel from this take.");
const QString kNoVoice = QStringLiteral("No voice in this take, so there's no story to cut.");

TEST(ReelMessageTest, plainNeverShowsTheEnginesWording) {
  EXPECT_EQ(ReelMessage::plain(std::nullopt), kCouldNotMake);
  EXPECT_EQ(ReelMessage::plain(QStringLiteral("no speech")), kNoVoice);
  EXPECT_EQ(ReelMessage::plain(QStringLiteral("whisper: found no usable speech in 12 s of audio")),
            kNoVoice);
  EXPECT_EQ(ReelMessage::plain(QStringLiteral("ffmpeg exploded")), kCouldNotMake);
  EXPECT_EQ(ReelMessage::plain(QString()), kCouldNotMake);
  EXPECT_EQ(ReelMessage::plain(QStringLiteral("No Speech")), kCouldNotMake) << "case matters";
}

TEST(ReelMessageTest, stageEventsMoveTheStageAndUnknownStagesAreIgnored) {
  ReelJob job;
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":"stage","stage":"story"})")),
            Effect::changed);
  EXPECT_EQ(job.stage, ReelStage::story());
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":"stage","stage":"rendering"})")),
            Effect::changed);
  EXPECT_EQ(job.stage, ReelStage::rendering(0));
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":"stage","stage":"polishing"})")),
            Effect::none);
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":"stage","stage":3})")), Effect::none);
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"stage":"listening"})")), Effect::none);
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":7,"stage":"listening"})")), Effect::none);
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":"dance"})")), Effect::none);
  EXPECT_EQ(job.stage, ReelStage::rendering(0));
}

TEST(ReelMessageTest, progressStoresItsValueAndAnythingElseGivesZero) {
  ReelJob job;
  ReelMessage::apply(job, json(R"({"event":"progress","value":0.625})"));
  EXPECT_EQ(job.stage, ReelStage::rendering(0.625));
  ReelMessage::apply(job, json(R"({"event":"progress","value":"0.7"})"));
  EXPECT_EQ(job.stage, ReelStage::rendering(0));
  ReelMessage::apply(job, json(R"({"event":"progress","value":1.5})"));
  EXPECT_EQ(job.stage, ReelStage::rendering(1.5)) << "stored unchanged, not clamped";
  ReelMessage::apply(job, json(R"({"event":"progress"})"));
  EXPECT_EQ(job.stage, ReelStage::rendering(0));
}

TEST(ReelMessageTest, storyReplacesEveryFieldAndWrongTypesGiveEmptyValues) {
  ReelJob job;
  job.caption = QStringLiteral("old");
  ReelMessage::apply(job, json(R"({"event":"story","headline":["One","Two"],"flags":["long"],
      "brand":"Acme","brain":"claude","caption":"Watch this"})"));
  EXPECT_EQ(job.headline, QStringList({"One", "Two"}));
  EXPECT_EQ(job.flags, QStringList({"long"}));
  EXPECT_EQ(job.brand, "Acme");
  EXPECT_EQ(job.brain, "claude");
  EXPECT_EQ(job.caption, "Watch this");

  ReelMessage::apply(job, json(R"({"event":"story","headline":["One",2],"flags":"long",
      "brand":5})"));
  EXPECT_TRUE(job.headline.isEmpty());
  EXPECT_TRUE(job.flags.isEmpty());
  EXPECT_TRUE(job.brand.isEmpty());
  EXPECT_TRUE(job.brain.isEmpty());
  EXPECT_TRUE(job.caption.isEmpty());
  EXPECT_EQ(job.stage, ReelStage::waiting()) << "a story leaves the stage alone";
}

TEST(ReelMessageTest, doneTakesVideoCaptionAndDurationFromAString) {
  ReelJob job;
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":"done","video":"/r/A · Reel.mp4",
      "caption":"Go","duration":"31.25"})")),
            Effect::done);
  EXPECT_EQ(job.stage, ReelStage::ready());
  EXPECT_EQ(job.video, QUrl::fromLocalFile(QStringLiteral("/r/A · Reel.mp4")));
  EXPECT_EQ(job.caption, "Go");
  EXPECT_EQ(job.duration, 31.25);
}

TEST(ReelMessageTest, doneWithoutCaptionKeepsTheStoryCaptionAndANumberDurationGivesZero) {
  ReelJob job;
  job.caption = QStringLiteral("From the story");
  job.video = QUrl::fromLocalFile(QStringLiteral("/old.mp4"));
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":"done","video":4,"duration":31.25})")),
            Effect::done);
  EXPECT_EQ(job.caption, "From the story");
  EXPECT_FALSE(job.video.has_value()) << "a video that is not a string means none";
  EXPECT_EQ(job.duration, 0);
  ReelMessage::apply(job, json(R"({"event":"done","duration":"about 30"})"));
  EXPECT_EQ(job.duration, 0);
  EXPECT_EQ(ReelMessage::apply(job, json(R"({"event":"done"})")), Effect::done)
      << "a repeated done still counts as done";
}

TEST(ReelMessageTest, errorFailsWithThePlainText) {
  ReelJob job;
  job.stage = ReelStage::ready();
  ReelMessage::apply(job, json(R"({"event":"error","message":"transcript: no usable speech"})"));
  EXPECT_EQ(job.stage, ReelStage::failed(kNoVoice));
  ReelMessage::apply(job, json(R"({"event":"error","message":17})"));
  EXPECT_EQ(job.stage, ReelStage::failed(kCouldNotMake));
}

TEST(ReelMessageTest, messagesApplyWhateverTheCurrentStage) {
  ReelJob job;
  ReelMessage::apply(job, json(R"({"event":"done"})"));
  ReelMessage::apply(job, json(R"({"event":"progress","value":0.5})"));
  EXPECT_EQ(job.stage, ReelStage::rendering(0.5)) << "a late progress moves a ready job back";
}

}  // namespace
}  // namespace vorn
