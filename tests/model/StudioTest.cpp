// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Settings.h"
#include "model/Studio.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

namespace vorn {
namespace {

class StudioTest : public testing::Test {
 protected:
  void SetUp() override { userSettings().clear(); }
};

TEST_F(StudioTest, equalPrefsNeitherSaveNorCallTheHook) {
  Studio studio;
  int calls = 0;
  studio.onPrefsChange = [&](const Prefs&, const Prefs&) { ++calls; };
  QSignalSpy changed(&studio, &Studio::prefsChanged);
  studio.setPrefs(Prefs{});
  studio.updatePrefs([](Prefs& p) { p.fps = 60; });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(changed.count(), 0);
  EXPECT_FALSE(userSettings().contains(QStringLiteral("prefs")));
}

TEST_F(StudioTest, aChangedFieldSavesThenCallsTheHookWithOldAndNew) {
  Studio studio;
  std::vector<std::pair<Prefs, Prefs>> calls;
  bool savedBeforeHook = false;
  studio.onPrefsChange = [&](const Prefs& old, const Prefs& now) {
    savedBeforeHook = Prefs::load() == now;
    calls.emplace_back(old, now);
  };
  QSignalSpy changed(&studio, &Studio::prefsChanged);
  studio.updatePrefs([](Prefs& p) { p.layout = Layout::me; });

  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].first.layout, Layout::screen);
  EXPECT_EQ(calls[0].second.layout, Layout::me);
  EXPECT_TRUE(savedBeforeHook);
  EXPECT_EQ(changed.count(), 1);
  EXPECT_EQ(Prefs::load().layout, Layout::me);
  EXPECT_EQ(Studio().prefs().layout, Layout::me) << "a new studio starts from the saved record";
}

// A drag adjusts the record on every move and writes it once, when it ends.
TEST_F(StudioTest, adjustedPrefsAreSeenAtOnceAndSavedOnlyWhenAsked) {
  Studio studio;
  int hooks = 0;
  studio.onPrefsChange = [&](const Prefs&, const Prefs&) { ++hooks; };
  for (double x : {0.3, 0.4, 0.5}) studio.adjustPrefs([x](Prefs& p) { p.bubbleX = x; });
  EXPECT_EQ(studio.prefs().bubbleX, 0.5);
  EXPECT_EQ(hooks, 3);
  EXPECT_NE(Prefs::load().bubbleX, 0.5) << "nothing written while dragging";
  studio.savePrefs();
  EXPECT_EQ(Prefs::load().bubbleX, 0.5);
}

TEST_F(StudioTest, propertiesSignalOnlyRealChanges) {
  Studio studio;
  QSignalSpy phase(&studio, &Studio::phaseChanged);
  QSignalSpy toast(&studio, &Studio::toastChanged);
  QSignalSpy cameras(&studio, &Studio::camerasChanged);
  studio.setPhase(Phase::idle);
  studio.setPhase(Phase::framing);
  studio.setPhase(Phase::framing);
  studio.setToast(QStringLiteral("Too short, discarded"));
  studio.setToast(QStringLiteral("Too short, discarded"));
  studio.setToast(std::nullopt);
  studio.setCameras({{"a", "Cam A"}});
  studio.setCameras({{"a", "Cam A"}});
  EXPECT_EQ(phase.count(), 1);
  EXPECT_EQ(toast.count(), 2);
  EXPECT_EQ(cameras.count(), 1);
}

TEST_F(StudioTest, elapsedExcludesPausesAndIsNeverNegative) {
  Studio studio;
  EXPECT_EQ(studio.elapsed(100), 0) << "no recording yet";
  studio.setRecordStart(100.0);
  EXPECT_DOUBLE_EQ(studio.elapsed(104), 4);

  studio.setPausedAt(104.0);
  EXPECT_TRUE(studio.isPaused());
  EXPECT_DOUBLE_EQ(studio.elapsed(104), 4);
  EXPECT_DOUBLE_EQ(studio.elapsed(110), 4) << "constant while paused";

  studio.setPausedTotal(studio.pausedTotal() + (110 - 104));
  studio.setPausedAt(std::nullopt);
  EXPECT_FALSE(studio.isPaused());
  EXPECT_DOUBLE_EQ(studio.elapsed(110), 4) << "resumes from the same value";
  EXPECT_DOUBLE_EQ(studio.elapsed(111.5), 5.5);

  studio.setPausedTotal(1000);
  EXPECT_EQ(studio.elapsed(111.5), 0);
  EXPECT_EQ(studio.elapsed(50), 0) << "a time before the start";
}

TEST_F(StudioTest, flagsStartFalseAndSurviveARestart) {
  {
    Studio fresh;
    EXPECT_FALSE(fresh.learnedFrame());
    EXPECT_FALSE(fresh.welcomed());
    QSignalSpy welcomed(&fresh, &Studio::welcomedChanged);
    fresh.setWelcomed(true);
    fresh.setWelcomed(true);
    EXPECT_EQ(welcomed.count(), 1);
  }
  Studio restarted;
  EXPECT_TRUE(restarted.welcomed());
  EXPECT_FALSE(restarted.learnedFrame());
  restarted.setLearnedFrame(true);
  restarted.setWelcomed(false);
  Studio again;
  EXPECT_TRUE(again.learnedFrame());
  EXPECT_FALSE(again.welcomed());
}

}  // namespace
}  // namespace vorn
