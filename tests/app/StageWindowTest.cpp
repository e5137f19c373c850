// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "app/StageWindow.h"
#include "base/Clock.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "monitor/IslandView.h"
#include "viewfinder/FramingBoard.h"

#include "support/Eventually.h"

#include <QtTest/QTest>
#include <gtest/gtest.h>

namespace vorn {
namespace {

StudioWindows stageWindows(StageWindow& stage) {
  StudioWindows windows;
  windows.viewfinder = stage.takeViewfinder();
  windows.island = stage.takeIsland();
  return windows;
}

// The one window that stands in for the overlays: the board while framing, the island's status
// and prompter from the countdown, the board again when the countdown is called off, nothing
// once the session closes.
TEST(StageWindow, showsTheBoardOrTheIslandByPhase) {
  Studio studio;
  studio.updatePrefs([](Prefs& p) {
    p.cameraOn = false;
    p.micOn = false;
    p.reels = false;
  });
  StageWindow stage(studio);
  Engine engine(studio, nullptr, BackendChoice::choose()->forEngine(), stageWindows(stage));
  stage.attach(engine);
  engine.recording().setCountdownStep(10000);
  engine.openAndWait();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(stage.window(), 10000));
  EXPECT_TRUE(stage.board()->isVisible());
  EXPECT_FALSE(stage.islandView()->isVisible());

  ASSERT_TRUE(test::within(10, [&] { return engine.renderLoop() && studio.screenAccess(); }));
  engine.recording().beginCountdown();
  ASSERT_EQ(studio.phase(), Phase::countdown);
  EXPECT_TRUE(test::within(5, [&] { return !stage.board()->isVisible(); })) << "the board steps aside";
  EXPECT_TRUE(stage.islandView()->isVisible());

  engine.recording().cancelCountdown();
  EXPECT_TRUE(test::within(5, [&] { return stage.board()->isVisible(); }));
  EXPECT_FALSE(stage.islandView()->isVisible());

  engine.closeAndWait();
  EXPECT_FALSE(stage.window()->isVisible());
}

}  // namespace
}  // namespace vorn
