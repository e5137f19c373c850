// SPDX-License-Identifier: GPL-3.0-or-later
// The desktop's own shortcut through the GlobalShortcuts portal, served by KDE's backend and
// kglobalaccel on a private session bus.
#include "platform/portal/PortalShortcut.h"
#include "support/Eventually.h"
#include "support/KdeShortcuts.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>

namespace vorn {
namespace {

TEST(PortalShortcut, isFiledWithTheDesktopAndTellsEachPressOnceWhileHeld) {
  EXPECT_EQ(PortalShortcut::trigger(Qt::Key_9, Qt::ControlModifier | Qt::ShiftModifier), "CTRL+SHIFT+9");
  EXPECT_EQ(PortalShortcut::trigger(Qt::Key_R, Qt::MetaModifier | Qt::AltModifier), "ALT+LOGO+R");

  if (const auto missing = test::KdeShortcuts::missingProgram()) GTEST_SKIP() << "no " << *missing << " here";
  test::KdeShortcuts desktop;
  ASSERT_TRUE(PortalShortcut::offered());
  int presses = 0;
  auto shortcut = PortalShortcut::bind(Qt::Key_9, Qt::ControlModifier | Qt::ShiftModifier, [&] { ++presses; });
  ASSERT_TRUE(shortcut);

  ASSERT_TRUE(desktop.press("vorn", "toggle"));
  ASSERT_TRUE(test::within(10, [&] { return presses == 1; }));
  // A held key repeats its press, with no release between: the repeat is not a second press.
  QElapsedTimer held;
  held.start();
  ASSERT_TRUE(desktop.press("vorn", "toggle"));
  test::within(0.3, [] { return false; });
  if (held.elapsed() < 900) {
    EXPECT_EQ(presses, 1);
  }
  // Pressed again later, it counts.
  test::within(1.2, [] { return false; });
  ASSERT_TRUE(desktop.press("vorn", "toggle"));
  ASSERT_TRUE(test::within(10, [&] { return presses == 2; }));

  // The same name on the next run finds the key the desktop kept.
  shortcut.reset();
  auto again = PortalShortcut::bind(Qt::Key_9, Qt::ControlModifier | Qt::ShiftModifier, [&] { presses += 10; });
  ASSERT_TRUE(again);
  ASSERT_TRUE(desktop.press("vorn", "toggle"));
  ASSERT_TRUE(test::within(10, [&] { return presses == 12; })) << presses;
}

}  // namespace
}  // namespace vorn
