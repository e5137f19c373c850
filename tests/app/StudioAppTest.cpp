// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/MovieProbe.h"
#include "support/TestServices.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace vorn {
namespace {

const std::string kVorn = std::string(VORN_BINARY_DIR) + "/vorn";

QDir takesFolder() { return QDir(QDir::homePath() + "/Videos/Vorn"); }

QStringList takes(QDir::Filters hidden = {}) {
  return takesFolder().entryList({"*.mp4", ".recording-*"}, QDir::Files | hidden, QDir::Name);
}

// The takes saved since the folder held `before`.
QStringList takesSince(const QStringList& before) {
  QStringList saved = takes();
  for (const QString& old : before) saved.removeAll(old);
  return saved;
}

// One take was saved since `before`, at least `seconds` long, and no fragment is left over.
void expectOneWholeTakeSince(const QStringList& before, double seconds) {
  const QStringList saved = takesSince(before);
  ASSERT_EQ(saved.size(), 1) << saved.join(", ").toStdString();
  EXPECT_TRUE(takes(QDir::Hidden).filter(".recording-").isEmpty()) << "no fragment left";
  EXPECT_GT(test::probeDuration(takesFolder().filePath(saved.front())), seconds);
}

// The fragments of the take under way that are wholly written (half a second each).
int fragmentsWritten() {
  const QStringList left = takes(QDir::Hidden).filter(".recording-");
  QFile file(takesFolder().filePath(left.value(0)));
  return !left.isEmpty() && file.open(QIODevice::ReadOnly) ? int(file.readAll().count("moof")) : 0;
}

class StudioApp : public testing::Test {
 protected:
  void SetUp() override {
    test::pulseServer()->pactl({"load-module", "module-sine-source", "source_name=vsine"});
    test::pulseServer()->pactl({"set-default-source", "vsine"});
  }
  void TearDown() override { unsetenv("VORN_AUTORECORD"); }
};

TEST_F(StudioApp, opensCountsDownRecordsAndSavesATake) {
  setenv("VORN_AUTORECORD", "1.5", 1);
  std::string output;
  ASSERT_EQ(test::runCommand({kVorn}, &output), 0) << output;
  const auto at = output.find("take: ");
  ASSERT_NE(at, std::string::npos) << output;
  const QString take = QString::fromStdString(output.substr(at + 6, output.find('\n', at) - at - 6));
  EXPECT_NEAR(test::probeDuration(take), 1.5, 0.3);
  EXPECT_EQ(test::probeStreams(take).size(), 2u) << "picture and microphone";
}

TEST_F(StudioApp, terminatingWhileRecordingStillSavesThePlayableTake) {
  setenv("VORN_AUTORECORD", "60", 1);
  const QStringList before = takes();
  test::ChildProcess studio({kVorn});
  ASSERT_TRUE(test::eventually([&] { return !takes(QDir::Hidden).filter(".recording-").isEmpty(); }))
      << "the countdown began";
  // The three-second countdown, then a second and a half of recording.
  std::this_thread::sleep_for(std::chrono::milliseconds(4500));
  ::kill(studio.pid(), SIGTERM);
  ASSERT_TRUE(test::eventually([&] { return !studio.running(); }, 60));
  expectOneWholeTakeSince(before, 1.0);
}

// A studio killed outright mid-take: the next studio turns what it left into the take.
TEST_F(StudioApp, aStudioKilledMidTakeGetsItsTakeBackAtTheNextStart) {
  setenv("VORN_AUTORECORD", "60", 1);
  const QStringList before = takes();
  {
    test::ChildProcess studio({kVorn});
    ASSERT_TRUE(test::eventually([&] { return fragmentsWritten() >= 3; }, 60)) << "a second of it is written";
    ::kill(studio.pid(), SIGKILL);
    ASSERT_TRUE(test::eventually([&] { return !studio.running(); }));
  }
  setenv("VORN_AUTORECORD", "1.5", 1);
  std::string output;
  ASSERT_EQ(test::runCommand({kVorn}, &output), 0) << output;
  QStringList saved = takesSince(before);
  ASSERT_EQ(saved.size(), 2) << "the recovered take and the new one";
  saved.removeAll(QFileInfo(QString::fromStdString(output.substr(output.find("take: ") + 6))).fileName().trimmed());
  ASSERT_EQ(saved.size(), 1) << output;
  EXPECT_GT(test::probeDuration(takesFolder().filePath(saved.front())), 0.9);
  EXPECT_TRUE(takes(QDir::Hidden).filter(".recording-").isEmpty()) << "no fragment left";
}

// The X server goes away mid-take: the session ends as quitting does, with the take saved.
TEST_F(StudioApp, anXServerThatDiesMidTakeLeavesTheTakeSaved) {
  const std::string ownDisplay = std::getenv("DISPLAY");
  auto dying = std::make_unique<test::XServer>();
  ::setenv("DISPLAY", ownDisplay.c_str(), 1);  // only the studio runs on the dying one
  setenv("VORN_AUTORECORD", "60", 1);
  const QStringList before = takes();
  test::ChildProcess studio({"sh", "-c", "DISPLAY=" + dying->display() + " exec " + kVorn});
  ASSERT_TRUE(test::eventually([&] { return fragmentsWritten() >= 3; }, 60)) << "a second of it is written";
  dying.reset();
  ASSERT_TRUE(test::eventually([&] { return !studio.running(); }, 60));
  expectOneWholeTakeSince(before, 1.0);
}

TEST_F(StudioApp, ctrlQInTheStudioQuitsLikeTheTrayAndSavesTheTakeUnderWay) {
  setenv("VORN_AUTORECORD", "60", 1);
  const QStringList before = takes();
  test::ChildProcess studio({kVorn});
  const auto fragmentBytes = [] {
    const QStringList fragments = takes(QDir::Hidden).filter(".recording-");
    return fragments.isEmpty() ? 0 : QFileInfo(takesFolder().filePath(fragments.front())).size();
  };
  // Its first second of pictures and sound lands in the fragment: the take is under way.
  ASSERT_TRUE(test::eventually([&] { return fragmentBytes() > 8192; }, 60));
  ASSERT_TRUE(test::eventually([] {
    std::string name;
    test::runCommand({"xdotool", "getactivewindow", "getwindowname"}, &name);
    return name == "Vorn\n";
  })) << "the studio's window has the keyboard";
  ASSERT_EQ(test::runCommand({"xdotool", "key", "ctrl+q"}), 0);
  ASSERT_TRUE(test::eventually([&] { return !studio.running(); }, 60));
  const QStringList saved = takesSince(before);
  ASSERT_EQ(saved.size(), 1) << saved.join(", ").toStdString();
  EXPECT_GT(test::probeDuration(takesFolder().filePath(saved.front())), 0.5);
}

TEST_F(StudioApp, reviewStatesDrawTheTrayTheMonitorAndTheViewfinder) {
  const std::string out = QDir::homePath().toStdString() + "/states";
  ASSERT_EQ(test::runCommand({kVorn, "review-states", "--out", out}), 0);
  for (const char* name : {"tray-idle", "tray-recording", "tray-update", "monitor-toast-long",
                           "monitor-split-floating-tiktok", "monitor-compact-recording", "viewfinder-drag-plain"}) {
    const QImage shot(QString::fromStdString(out) + "/" + name + ".png");
    EXPECT_FALSE(shot.isNull()) << name;
    EXPECT_GT(shot.width(), 100) << name;
  }
}

}  // namespace
}  // namespace vorn
