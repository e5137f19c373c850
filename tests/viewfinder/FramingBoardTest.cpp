// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "base/Clock.h"
#include "controls/ControlDeck.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "viewfinder/FramingBoard.h"

#include "support/Eventually.h"

#include <QApplication>
#include <QKeyEvent>

#include <QtTest/QTest>
#include <gtest/gtest.h>

namespace vorn {
namespace {

class FramingBoardTest : public testing::Test {
 protected:
  void SetUp() override {
    studio.updatePrefs([](Prefs& p) {
      p.cameraOn = false;
      p.micOn = false;
      p.fps = 30;
      p.reels = false;
    });
    engine.recording().setCountdownStep(10000);
    engine.openAndWait();
    board.attach(engine);
    board.resize(992, 652);  // a 960 × 540 picture of the 1920 × 1080 screen: half its points
    board.open(engine.screen());
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&board, 10000));
  }
  void TearDown() override { engine.closeAndWait(); }

  Studio studio;
  Engine engine{studio, nullptr, BackendChoice::choose()->forEngine(), StudioWindows{}};
  FramingBoard board{studio, nullptr};
};

// The board's pixels are the screen's points at half size: a drag moves the frame twice as far
// on the screen, a corner drag grows it from the opposite corner, and the frame is drawn where
// it now is.
TEST_F(FramingBoardTest, dragsAndResizesTheFrameInTheScreensPoints) {
  ASSERT_NEAR(board.pictureRect().width(), 960, 0.5);
  engine.setHome({600, 200, 400, 600});
  const Rect before = engine.home();
  const QRectF shown = board.toBoard(before);
  EXPECT_NEAR(board.toScreen(shown.topLeft()).x, before.x, 0.01) << "the two mappings agree";

  const QPoint grab = shown.center().toPoint();
  QTest::mousePress(&board, Qt::LeftButton, {}, grab);
  QTest::mouseMove(&board, grab + QPoint(-40, 25));
  QTest::mouseRelease(&board, Qt::LeftButton, {}, grab + QPoint(-40, 25));
  const Rect moved = engine.home();
  EXPECT_NEAR(moved.x, before.x - 80, 1);
  EXPECT_NEAR(moved.y, before.y + 50, 1);
  EXPECT_NEAR(moved.width, before.width, 0.01);
  EXPECT_FALSE(engine.dragging());

  const QRectF now = board.toBoard(moved);
  const QPoint corner = now.bottomRight().toPoint();
  QTest::mousePress(&board, Qt::LeftButton, {}, corner);
  QTest::mouseMove(&board, corner + QPoint(30, 30));
  QTest::mouseRelease(&board, Qt::LeftButton, {}, corner + QPoint(30, 30));
  const Rect grown = engine.home();
  EXPECT_GT(grown.width, moved.width + 20);
  EXPECT_NEAR(grown.x, moved.x, 1) << "the opposite corner stays";
  EXPECT_NEAR(grown.y, moved.y, 1);

  const Rect unchanged = engine.home();
  QTest::mouseClick(&board, Qt::LeftButton, {}, QPoint(4, 4));  // outside the picture
  EXPECT_EQ(engine.home(), unchanged);
}

// With the keyboard on the board the arrows move the frame in the screen's points, a step or,
// with Shift, ten, through the drag's own snapping; each press is saved as a drag's end is. The
// studio's own keys pass on.
TEST_F(FramingBoardTest, theArrowKeysMoveTheFrameAsADragDoes) {
  studio.updatePrefs([](Prefs& p) { p.style = FrameStyle::bleed; });  // the frame's aspect: 360 × 640
  engine.setHome({600, 200, 360, 640});
  QTest::keyClick(&board, Qt::Key_Left);
  EXPECT_EQ(engine.home(), (Rect{599, 200, 360, 640}));
  QTest::keyClick(&board, Qt::Key_Down, Qt::ShiftModifier);
  EXPECT_EQ(engine.home(), (Rect{599, 210, 360, 640}));
  EXPECT_FALSE(engine.dragging());
  const std::vector<double> saved{599 / 1920.0, 210 / 1080.0, 360 / 1920.0, 640 / 1080.0};
  EXPECT_TRUE(test::within(3, [&] { return studio.prefs().home == saved; })) << "saved once it rests";

  engine.setHome({12, 200, 360, 640});
  QTest::keyClick(&board, Qt::Key_Left);
  QTest::keyClick(&board, Qt::Key_Left);
  EXPECT_EQ(engine.home().x, 10);
  QTest::keyClick(&board, Qt::Key_Left);
  EXPECT_EQ(engine.home().x, 0) << "within reach of the screen's edge it snaps there";
  engine.setHome({0, 200, 360, 640});
  for (int press = 0; press < 9; ++press) QTest::keyClick(&board, Qt::Key_Right);
  EXPECT_EQ(engine.home().x, 0) << "held by the edge as a pointer would be";
  QTest::keyClick(&board, Qt::Key_Right);
  EXPECT_EQ(engine.home().x, 10) << "and let go ten points out";
  QTest::keyClick(&board, Qt::Key_Left, Qt::ShiftModifier);
  QTest::keyClick(&board, Qt::Key_Left, Qt::ShiftModifier);
  EXPECT_EQ(engine.home().x, 0) << "never off the screen";

  for (const Qt::Key key : {Qt::Key_Space, Qt::Key_P, Qt::Key_Escape}) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(&board, &press);
    EXPECT_FALSE(press.isAccepted()) << "key " << key << " is the studio's";
  }
  studio.setPhase(Phase::countdown);
  const Rect still = engine.home();
  QTest::keyClick(&board, Qt::Key_Right);
  EXPECT_EQ(engine.home(), still) << "only while the frame may be dragged";
}

// Out of the way while a take records; back for the review.
TEST_F(FramingBoardTest, stepsAsideWhileATakeRecords) {
  EXPECT_TRUE(board.isVisible());
  studio.setPhase(Phase::recording);
  board.tick(mediaTime());
  EXPECT_FALSE(board.isVisible());
  studio.setPhase(Phase::review);
  board.tick(mediaTime());
  EXPECT_TRUE(board.isVisible());
}

// Without the desktop-wide key the hints name the studio's own.
TEST(RecordKeyTexts, withoutTheKeyTheHintsNameSpace) {
  Studio studio;
  studio.setRecordKeyHeld(false);
  studio.setPhase(Phase::framing);
  studio.setLearnedFrame(true);
  EXPECT_EQ(ControlDeck::hint(studio), "Space to record");
  studio.setPhase(Phase::recording);
  EXPECT_EQ(ControlDeck::hint(studio), "Space to stop · P to pause");
}

}  // namespace
}  // namespace vorn
