// SPDX-License-Identifier: GPL-3.0-or-later
// The review bar following a stand-in reel engine's whole run.
#include "app/BackendChoice.h"
#include "engine/Engine.h"
#include "monitor/ReviewBar.h"
#include "reels/FakeEngine.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QDir>
#include <QLineEdit>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

namespace vorn {
namespace {

using test::eventually;

class ReviewBarTest : public testing::Test {
 protected:
  void SetUp() override {
    userSettings().clear();
    bar.attach(engine);
  }
  // Reviews `take` (no display here: the session stays closed), whose reel the stand-in
  // engine cuts with `script`.
  void review(const Take& take) {
    studio.setTake(take);
    studio.setPhase(Phase::review);
    reels.make(take, QString());
  }

  test::FakeEngine fake;  // first: outlives the maker and its processes
  Studio studio;
  ReelMaker reels{studio};
  Engine engine{studio, &reels, BackendChoice::choose()->forEngine(), StudioWindows{}};
  ReviewBar bar{studio, nullptr};
};

TEST_F(ReviewBarTest, followsTheReelFromListeningToReadyAndThenOffersIt) {
  // Where the queue asked the engine to write the reel: the only reel it accepts.
  const QString video = ReelMaker::reelPath(QUrl::fromLocalFile(fake.path("A.mp4")));
  QDir().mkpath(ReelMaker::folder());
  test::FakeEngine::write(video, "a reel");
  // Each step waits for the test to let it go on (a file appears), so every stage is seen.
  const QString gate = fake.path("go");
  const auto step = [&](const char* line, int n) {
    return QStringLiteral("echo '%1'\nwhile [ ! -e '%2%3' ]; do sleep 0.02; done\n").arg(QLatin1String(line), gate).arg(n).toUtf8();
  };
  const Take take = fake.take("A", step(R"({"event":"stage","stage":"listening"})", 1) +
                                       step(R"({"event":"stage","stage":"story"})", 2) +
                                       step(R"({"event":"progress","value":0.5})", 3) +
                                       QStringLiteral("echo '{\"event\":\"done\",\"video\":\"%1\",\"caption\":\"A caption\",\"duration\":\"31.5\"}'\n")
                                           .arg(video)
                                           .toUtf8());
  review(take);
  EXPECT_EQ(bar.primary()->text(), "Done") << "nothing to send yet";
  const auto showing = [&](const QString& text) { return eventually([&] { return bar.stageLabel()->text() == text; }); };
  ASSERT_TRUE(showing("Listening to your take"));
  test::FakeEngine::write(gate + "1", "");
  ASSERT_TRUE(showing("Finding the story"));
  test::FakeEngine::write(gate + "2", "");
  ASSERT_TRUE(showing("Scoring and rendering"));
  EXPECT_TRUE(eventually([&] { return bar.progress()->value() == 500; })) << "the rendering's progress";
  test::FakeEngine::write(gate + "3", "");
  ASSERT_TRUE(eventually([&] { return bar.primary()->text() == "Send to Phone"; }));
  EXPECT_EQ(bar.stageLabel()->text(), "0:31  ·  1080 × 1920");
  EXPECT_EQ(bar.item(), video) << "the finished reel is what the bar acts on";
  reels.setShowReel(false);
  EXPECT_EQ(bar.item(), take.url.toLocalFile());
}

TEST_F(ReviewBarTest, aFailedReelShowsItsFixedSentenceAndLeavesTheTake) {
  const Take take = fake.take("B", "echo '{\"event\":\"error\",\"message\":\"stage 2 found no usable speech\"}'\nexit 2\n");
  review(take);
  ASSERT_TRUE(eventually([&] { return bar.stageLabel()->text() == "No voice in this take, so there's no story to cut."; }));
  EXPECT_EQ(bar.primary()->text(), "Done");
  EXPECT_EQ(bar.item(), take.url.toLocalFile());
  bar.primary()->click();
  EXPECT_EQ(studio.phase(), Phase::framing) << "done leaves the review";
}

// What a screen reader says for each control of the bar: a name, and what it does.
TEST_F(ReviewBarTest, everyControlHasANameAndADescription) {
  QList<QWidget*> controls;
  for (QWidget* w : bar.findChildren<QWidget*>())
    if (qobject_cast<QAbstractButton*>(w) || qobject_cast<QLineEdit*>(w) || w->focusPolicy() != Qt::NoFocus)
      controls.push_back(w);
  ASSERT_GE(controls.size(), 7);
  for (QWidget* control : controls) {
    if (control->parentWidget() != &bar) continue;  // a line edit's own clear button
    QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(control);
    ASSERT_TRUE(spoken);
    EXPECT_FALSE(spoken->text(QAccessible::Name).isEmpty()) << control->metaObject()->className();
    EXPECT_FALSE(control->accessibleDescription().isEmpty()) << spoken->text(QAccessible::Name).toStdString();
  }
}

TEST(ReviewBarText, everyStageHasItsSentence) {
  EXPECT_EQ(ReviewBar::stageText(ReelStage::waiting()), "Waiting for the last reel to finish");
  EXPECT_EQ(ReviewBar::stageText(ReelStage::rendering(0.3)), "Scoring and rendering");
  EXPECT_EQ(ReviewBar::stageText(ReelStage::failed("Couldn't make a reel from this take.")),
            "Couldn't make a reel from this take.");
  EXPECT_EQ(ReviewBar::header(std::nullopt).title, "Your take");
  ReelJob job;
  job.stage = ReelStage::story();
  EXPECT_EQ(ReviewBar::header(job).title, "Making your reel");
  job.stage = ReelStage::ready();
  job.duration = 75;
  job.brain = "claude";
  EXPECT_EQ(ReviewBar::header(job).detail, "1:15  ·  1080 × 1920  ·  story by Claude");
  EXPECT_EQ(ReviewBar::header(job).hint, "Drag the phone anywhere to share it");
}

}  // namespace
}  // namespace vorn
