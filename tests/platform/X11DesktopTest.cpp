// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/ClickMonitor.h"
#include "platform/x11/HotKey.h"
#include "platform/x11/WindowList.h"
#include "platform/x11/X11Desktop.h"

#include "support/ChildProcess.h"
#include "support/Eventually.h"

#include <QWidget>
#include <gtest/gtest.h>

#include <unistd.h>

namespace vorn {
namespace {

using test::within;

void xdotool(std::vector<std::string> args) {
  args.insert(args.begin(), "xdotool");
  ASSERT_EQ(test::runCommand(args), 0);
}

// Lets presses that should have no effect arrive before the test says they had none.
void settle() { within(0.3, [] { return false; }); }

TEST(WindowListTest, picksOtherProcessesOrdinaryVisibleWindowsClippedToTheDisplay) {
  using W = WindowList::Window;
  const pid_t own = 100;
  const Rect display{1920, 0, 1920, 1080};  // the right-hand monitor
  const std::vector<W> windows{
      {{2000, 100, 400, 300}, 7},                     // kept
      {{2000, 100, 400, 300}, own},                   // ours
      {{2000, 100, 400, 300}, 0, false},              // a dock or menu
      {{2000, 100, 400, 300}, 7, true, false},        // minimised
      {{2000, 100, 400, 300}, 7, true, true, 0.1},    // all but transparent
      {{2000, 100, 400, 300}, 7, true, true, 0.11},   // faint but there
      {{2000, 100, 120, 300}, 7},                     // too narrow
      {{2000, 100, 121, 121}, 0},                     // just large enough; no pid is not ours
      {{100, 100, 400, 300}, 7},                      // on the other monitor
      {{1800, -50, 400, 300}, 7},                     // straddles: clipped
  };
  const std::vector<Rect> picked = WindowList::candidates(windows, own, display);
  const std::vector<Rect> expected{
      {80, 100, 400, 300}, {80, 100, 400, 300}, {80, 100, 121, 121}, {0, 0, 280, 250}};
  EXPECT_EQ(picked, expected);
}

TEST(WindowListTest, listsRealWindowsFrontToBackWithTheirFramesAndNotOurOwn) {
  QWidget own;
  own.setGeometry(50, 50, 300, 300);
  own.show();
  test::ChildProcess back({"xev", "-geometry", "400x300+100+150", "-name", "back"});
  ASSERT_TRUE(within(10, [] { return WindowList::windows({0, 0, 1920, 1080}).size() == 1; }));
  test::ChildProcess front({"xev", "-geometry", "500x200+900+400", "-name", "front"});
  // Mapped, then placed and raised: the window manager settles it in steps.
  ASSERT_TRUE(within(10, [] {
    const std::vector<Rect> listed = WindowList::windows({0, 0, 1920, 1080});
    return listed.size() == 2 && listed[0].contains(Rect{900, 400, 500, 200});
  })) << "the newest window comes to the front";

  const std::vector<Rect> windows = WindowList::windows({0, 0, 1920, 1080});
  // The frame holds the client area and the window manager's decorations around it.
  EXPECT_LT(windows[0].height, 260);
  EXPECT_TRUE(windows[1].contains(Rect{100, 150, 400, 300}));
  EXPECT_EQ(WindowList::windows({1000, 0, 920, 1080}).size(), 1u) << "only what meets the display";
}

TEST(HotKeyTest, firesWhateverTheLockKeysUntilDroppedAndRefusesAKeyHeldElsewhere) {
  auto desktop = X11Desktop::open();
  ASSERT_TRUE(desktop);
  int presses = 0;
  auto key = HotKey::grab(*desktop, Qt::Key_9, Qt::ControlModifier | Qt::ShiftModifier, [&] { ++presses; });
  ASSERT_TRUE(key);

  xdotool({"key", "ctrl+shift+9"});
  EXPECT_TRUE(within(5, [&] { return presses == 1; }));
  xdotool({"key", "Num_Lock"});
  xdotool({"key", "Caps_Lock"});
  xdotool({"key", "ctrl+shift+9"});
  EXPECT_TRUE(within(5, [&] { return presses == 2; })) << "with Num Lock and Caps Lock on";
  xdotool({"key", "Num_Lock"});
  xdotool({"key", "Caps_Lock"});
  xdotool({"key", "9", "ctrl+9", "shift+9"});
  settle();
  EXPECT_EQ(presses, 2) << "other modifiers are other keys";

  auto other = X11Desktop::open();
  EXPECT_FALSE(HotKey::grab(*other, Qt::Key_9, Qt::ControlModifier | Qt::ShiftModifier, [] {}))
      << "another client holds it";
  key.reset();
  xdotool({"key", "ctrl+shift+9"});
  settle();
  EXPECT_EQ(presses, 2) << "given back";
  EXPECT_TRUE(HotKey::grab(*other, Qt::Key_9, Qt::ControlModifier | Qt::ShiftModifier, [] {}));
}

TEST(ClickMonitorTest, seesEveryLeftPressAnywhereWhileWatching) {
  auto desktop = X11Desktop::open();
  ASSERT_TRUE(desktop);
  std::vector<Point> presses;
  auto watch = ClickMonitor::watch(*desktop, [&](Point at) { presses.push_back(at); });
  ASSERT_TRUE(watch);

  xdotool({"mousemove", "300", "400", "click", "1"});
  ASSERT_TRUE(within(5, [&] { return presses.size() == 1; }));
  EXPECT_EQ(presses[0], (Point{300, 400}));
  xdotool({"mousemove", "700", "100", "click", "3", "click", "1", "click", "1"});
  ASSERT_TRUE(within(5, [&] { return presses.size() == 3; })) << "two quick left clicks, not the right one";
  EXPECT_EQ(presses[2], (Point{700, 100}));

  watch.reset();
  xdotool({"click", "1"});
  settle();
  EXPECT_EQ(presses.size(), 3u);
}

}  // namespace
}  // namespace vorn
