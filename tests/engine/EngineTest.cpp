// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "engine/Engine.h"
#include "engine/RenderLoop.h"

#include "base/Clock.h"
#include "capture/CameraSource.h"
#include "capture/ScreenSource.h"
#include "model/Studio.h"
#include "model/Takes.h"
#include "reels/ReelMaker.h"
#include "support/Eventually.h"
#include "support/MovieProbe.h"
#include "support/TestServices.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <gtest/gtest.h>

#include <functional>

namespace vorn {
namespace {

using test::within;

void pump(double seconds) { within(seconds, [] { return false; }); }

QStringList trashed() {
  const QString trash =
      QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/Trash/files";
  return QDir(trash).entryList(QDir::Files);
}

QStringList takesOnDisk() {
  return QDir(Takes::folder().toLocalFile()).entryList(QDir::Files | QDir::Hidden);
}

class EngineTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    // A microphone that never stops: the take has sound.
    test::pulseServer()->pactl({"load-module", "module-sine-source", "source_name=vsine"});
    test::pulseServer()->pactl({"set-default-source", "vsine"});
  }

  void SetUp() override {
    studio.updatePrefs([](Prefs& p) {
      p.fps = 30;
      p.systemAudio = false;
      p.reels = true;
    });
    engine = std::make_unique<Engine>(studio, &reels, BackendChoice::choose()->forEngine(), StudioWindows{});
    engine->recording().setCountdownStep(50);
    engine->openAndWait();
    ASSERT_EQ(studio.phase(), Phase::framing);
    ASSERT_TRUE(within(20, [&] { return !studio.micName().isEmpty(); })) << "devices listed";
  }

  void TearDown() override {
    engine->closeAndWait();
    engine.reset();
  }

  // Counts down and waits until the take is being written.
  void record() {
    engine->recording().beginCountdown();
    ASSERT_EQ(studio.phase(), Phase::countdown);
    ASSERT_TRUE(within(20, [&] { return studio.phase() == Phase::recording; }));
  }

  void stopAndFinish() {
    engine->recording().stop();
    ASSERT_EQ(studio.phase(), Phase::finishing);
    ASSERT_TRUE(within(30, [&] { return studio.phase() != Phase::finishing; }));
  }

  Studio studio;
  ReelMaker reels{studio};
  std::unique_ptr<Engine> engine;
};

TEST_F(EngineTest, aTakeGoesFromCountdownThroughRecordingToReviewAndIsPlayable) {
  std::vector<int> counted;
  QObject::connect(&studio, &Studio::countdownChanged, [&] { counted.push_back(studio.countdown()); });
  engine->recording().beginCountdown();
  EXPECT_TRUE(reels.held()) << "reel jobs wait while the user records";
  ASSERT_TRUE(within(20, [&] { return studio.phase() == Phase::recording; }));
  EXPECT_EQ(counted, (std::vector<int>{2, 1})) << "3 was set when the countdown began";
  EXPECT_TRUE(studio.recordingHasMic());
  EXPECT_TRUE(engine->recording().recorder());

  engine->recording().togglePause();
  EXPECT_TRUE(studio.isPaused());
  pump(0.5);
  engine->recording().togglePause();
  EXPECT_FALSE(studio.isPaused());
  EXPECT_GT(studio.pausedTotal(), 0.4);
  pump(1.2);
  stopAndFinish();

  ASSERT_EQ(studio.phase(), Phase::review);
  EXPECT_FALSE(reels.held());
  ASSERT_TRUE(studio.take());
  const QString path = studio.take()->url.toLocalFile();
  EXPECT_TRUE(QFileInfo::exists(path));
  const double probed = test::probeDuration(path);
  EXPECT_NEAR(probed, studio.take()->duration, 0.1);
  EXPECT_GT(probed, 1.0) << "the pause is cut out, the rest kept";
  EXPECT_LT(probed, 1.6);
  EXPECT_EQ(test::probeStreams(path).size(), 2u) << "video and the microphone";
  EXPECT_TRUE(reels.jobs().empty()) << "a take under 8 s queues no reel";

  engine->primaryAction();
  EXPECT_EQ(studio.phase(), Phase::framing);
  EXPECT_FALSE(studio.take());
}

// Closed and opened again at once, over and over: the capture's stop never lands after the
// next start, so the studio goes on seeing the screen. A close while the displays are still
// being listed calls that opening off.
TEST_F(EngineTest, aQuickCloseAndOpenLeavesTheScreenCaptured) {
  for (int i = 0; i < 8; ++i) {
    engine->close();
    engine->openAndWait();
  }
  engine->close();
  engine->open();
  EXPECT_EQ(studio.phase(), Phase::idle) << "opening waits for the displays";
  engine->close();
  pump(0.3);
  EXPECT_EQ(studio.phase(), Phase::idle);
  ASSERT_TRUE(engine->openAndWait());
  const double since = mediaTime();
  EXPECT_TRUE(within(10, [&] {
    const auto frame = engine->screenSource().current();
    return frame && frame->at > since + 0.2;
  }));
}

TEST_F(EngineTest, aCancelledCountdownNeverStartsATake) {
  const QStringList before = takesOnDisk();
  engine->recording().beginCountdown();
  pump(0.06);
  engine->recording().cancelCountdown();
  EXPECT_EQ(studio.phase(), Phase::framing);
  EXPECT_FALSE(reels.held());
  pump(0.5);  // well past the end of the short countdown
  EXPECT_EQ(studio.phase(), Phase::framing);
  EXPECT_TRUE(within(10, [&] { return takesOnDisk() == before; })) << "no file left behind";

  // Space twice: the second press cancels.
  EXPECT_TRUE(engine->handleKey(Qt::Key_Space, Qt::NoModifier));
  EXPECT_EQ(studio.phase(), Phase::countdown);
  EXPECT_TRUE(engine->handleKey(Qt::Key_Space, Qt::NoModifier));
  EXPECT_EQ(studio.phase(), Phase::framing);
  EXPECT_FALSE(engine->handleKey(Qt::Key_Space, Qt::NoModifier, /*inText=*/true));
}

TEST_F(EngineTest, aTakeUnderSevenTenthsOfASecondGoesToTheTrash) {
  const QStringList before = trashed();
  const long appended = engine->renderLoop()->appendedFrames();
  record();
  // A take with pictures in it (on a busy machine the first can take a while), still short.
  ASSERT_TRUE(within(5, [&] { return engine->renderLoop()->appendedFrames() > appended + 2; }));
  stopAndFinish();
  EXPECT_EQ(studio.phase(), Phase::framing);
  EXPECT_EQ(studio.toast(), QStringLiteral("Too short, discarded"));
  EXPECT_EQ(trashed().size(), before.size() + 1);
  EXPECT_FALSE(studio.take());
}

TEST_F(EngineTest, restartThrowsTheTakeAwayAndCountsDownAgain) {
  const int before = takesOnDisk().size();
  record();
  engine->recording().restart();
  EXPECT_EQ(studio.phase(), Phase::countdown);
  ASSERT_TRUE(within(20, [&] { return studio.phase() == Phase::recording; }));
  pump(1.5);  // well past the shortest take, even when a busy machine delays the first frame
  stopAndFinish();
  EXPECT_EQ(studio.phase(), Phase::review);
  EXPECT_TRUE(within(10, [&] { return takesOnDisk().size() == before + 1; }))
      << "the thrown-away take leaves nothing: " << takesOnDisk().join(", ").toStdString();
}

TEST_F(EngineTest, theStudiosKeysActByPhase) {
  EXPECT_FALSE(engine->handleKey(Qt::Key_P, Qt::NoModifier)) << "P only counts while recording";
  EXPECT_TRUE(engine->handleKey(Qt::Key_M, Qt::ControlModifier));
  EXPECT_TRUE(studio.compact());
  record();
  EXPECT_TRUE(engine->handleKey(Qt::Key_P, Qt::NoModifier));
  EXPECT_TRUE(studio.isPaused());
  EXPECT_FALSE(engine->handleKey(Qt::Key_Escape, Qt::NoModifier)) << "Escape never stops a take";
  EXPECT_FALSE(engine->handleKey(Qt::Key_W, Qt::ControlModifier));
  engine->recording().restart();
  engine->recording().cancelCountdown();
  EXPECT_FALSE(engine->handleKey(Qt::Key_Escape, Qt::NoModifier));
  EXPECT_EQ(studio.phase(), Phase::framing) << "Escape never closes the studio";

  // Escape gives a drag up: the frame goes back, and the rest of the gesture is ignored.
  const Rect before = engine->home();
  engine->beginDrag();
  engine->drag({before.x + 100, before.y + 40, before.width, before.height});
  ASSERT_NE(engine->home(), before);
  EXPECT_TRUE(engine->handleKey(Qt::Key_Escape, Qt::NoModifier));
  EXPECT_FALSE(engine->dragging());
  EXPECT_EQ(engine->home(), before);
  engine->drag({before.x + 200, before.y, before.width, before.height});
  engine->endDrag();
  EXPECT_EQ(engine->home(), before) << "moves after Escape, until the button is let go";
  EXPECT_EQ(studio.phase(), Phase::framing);

  EXPECT_TRUE(engine->handleKey(Qt::Key_W, Qt::ControlModifier));
  EXPECT_EQ(studio.phase(), Phase::idle);
}

TEST_F(EngineTest, aLongTakeWithSoundIsQueuedForAReelAndRetakeTrashesTakeAndJob) {
  // A reel engine is there, but the held queue keeps it from running in this test.
  qputenv("VORN_CUT_PATH", "/bin/true");
  reels.pause();
  record();
  // Room for a first picture that comes late on a busy machine.
  ASSERT_TRUE(within(30, [&] { return studio.elapsed(mediaTime()) > 9.0; }));
  stopAndFinish();
  ASSERT_EQ(studio.phase(), Phase::review);
  const Take take = *studio.take();
  ASSERT_GE(take.duration, 8.0);
  ASSERT_TRUE(reels.job(take).has_value()) << "8 s with sound and reels on: a reel is queued";

  const QStringList before = trashed();
  engine->recording().retake();
  EXPECT_EQ(studio.phase(), Phase::framing);
  EXPECT_FALSE(studio.take());
  EXPECT_FALSE(reels.job(take).has_value());
  EXPECT_FALSE(QFileInfo::exists(take.url.toLocalFile()));
  EXPECT_TRUE(within(10, [&] { return trashed().size() == before.size() + 1; }));

  // An older take shown again from a closed studio opens a session in review.
  engine->close();
  ASSERT_EQ(studio.phase(), Phase::idle);
  engine->review(take);
  EXPECT_TRUE(within(10, [&] { return studio.phase() == Phase::review; }));
  EXPECT_EQ(studio.take()->url, take.url);
  qunsetenv("VORN_CUT_PATH");
}

TEST_F(EngineTest, closingWhileRecordingSavesTheTake) {
  record();
  const QString path = engine->recording().recorder()->path();
  // A second of it written (two half-second fragments), however busy the machine.
  const QString fragment = QFileInfo(path).dir().filePath(".recording-" + QFileInfo(path).fileName());
  ASSERT_TRUE(within(30, [&] {
    QFile file(fragment);
    return file.open(QIODevice::ReadOnly) && file.readAll().count("moof") >= 2;
  }));
  engine->closeAndWait();
  EXPECT_EQ(studio.phase(), Phase::idle);
  ASSERT_TRUE(QFileInfo::exists(path));
  EXPECT_GT(test::probeDuration(path), 0.7);
}

TEST_F(EngineTest, aMicrophoneUnpluggedMidTakeIsReportedAndTheTakeGoesOn) {
  std::string module;
  test::pulseServer()->pactl({"load-module", "module-sine-source", "source_name=vplug"}, &module);
  studio.updatePrefs([](Prefs& p) { p.micID = QStringLiteral("vplug"); });
  ASSERT_TRUE(within(20, [&] { return studio.micName().contains("vplug") || studio.micName().contains("Sine"); }));
  ASSERT_TRUE(within(20, [&] { return engine->cameraSource().level.get() > 0; })) << "the mic is live";
  record();
  pump(0.5);
  test::pulseServer()->pactl({"unload-module", module.substr(0, module.find_first_of("\r\n"))});
  ASSERT_TRUE(within(20, [&] { return studio.toast() && studio.toast()->endsWith("was disconnected"); }));
  EXPECT_EQ(studio.phase(), Phase::recording) << "the take goes on";
  pump(0.8);
  stopAndFinish();
  ASSERT_EQ(studio.phase(), Phase::review);
  EXPECT_GT(test::probeDuration(studio.take()->url.toLocalFile()), 1.0);
  studio.updatePrefs([](Prefs& p) { p.micID.reset(); });
}

}  // namespace
}  // namespace vorn
