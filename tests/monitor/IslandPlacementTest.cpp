// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/IslandPlacement.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

const QRect kScreen(0, 0, 1920, 1080);
const QSize kIsland(640, 320);

TEST(IslandPlacement, hangsFromTheTopCentreUnlessItMustKeepOutOfTheFrame) {
  EXPECT_EQ(IslandPlacement::place(kScreen, kIsland, std::nullopt), QRect(640, 0, 640, 320));
  // Below a 30-point top panel.
  EXPECT_EQ(IslandPlacement::place(kScreen.adjusted(0, 30, 0, 0), kIsland, std::nullopt),
            QRect(640, 30, 640, 320));
  // A frame elsewhere leaves it where it is.
  EXPECT_EQ(IslandPlacement::place(kScreen, kIsland, QRectF(0, 400, 500, 600)), QRect(640, 0, 640, 320));

  const auto clearOf = [](const QRect& island, const QRectF& frame) {
    return !island.intersects(frame.toAlignedRect().adjusted(-IslandPlacement::gap, -IslandPlacement::gap,
                                                             IslandPlacement::gap, IslandPlacement::gap));
  };
  // A frame low on the screen: above it, still centred.
  const QRectF low(700, 500, 540, 560);
  const QRect above = IslandPlacement::place(kScreen, kIsland, low);
  EXPECT_TRUE(clearOf(above, low));
  EXPECT_EQ(above.center().x(), 959);
  EXPECT_EQ(above.top(), 0) << "room enough above: it stays at the top";

  // A tall frame from the top: beside it at the top, on the nearer side.
  const QRectF tall(700, 0, 540, 960);
  const QRect beside = IslandPlacement::place(kScreen, kIsland, tall);
  EXPECT_TRUE(clearOf(beside, tall));
  EXPECT_EQ(beside.top(), 0);
  EXPECT_EQ(beside.left(), 700 - 8 - 640) << "the left side is nearer the centre";

  // A frame at the top of a short screen, as wide as it: below it.
  const QRectF wide(0, 0, 1920, 500);
  const QRect below = IslandPlacement::place(kScreen, kIsland, wide);
  EXPECT_TRUE(clearOf(below, wide));
  EXPECT_EQ(below.top(), 508);

  // Nowhere to go: the top centre, as ever.
  EXPECT_EQ(IslandPlacement::place(kScreen, kIsland, QRectF(kScreen)), QRect(640, 0, 640, 320));
}

TEST(IslandPlacement, stepsAsideFromTheMonitorWhereItCanButNeverOntoTheFrame) {
  const auto clear = [](const QRect& island, const QRect& r) {
    return !island.intersects(r.adjusted(-IslandPlacement::gap, -IslandPlacement::gap, IslandPlacement::gap,
                                         IslandPlacement::gap));
  };
  // The monitor dragged up under the top centre, a little right of it: beside it on the left.
  const QRect monitor(900, 40, 420, 900);
  const QRect aside = IslandPlacement::place(kScreen, kIsland, std::nullopt, monitor);
  EXPECT_TRUE(clear(aside, monitor));
  EXPECT_EQ(aside, QRect(900 - 8 - 640, 0, 640, 320));

  // A frame on the left as well, no room beside the monitor: below it, clear of both.
  const QRectF frame(100, 0, 500, 900);
  const QRect shortMonitor(1000, 40, 300, 500);
  const QRect below = IslandPlacement::place(kScreen, kIsland, frame, shortMonitor);
  EXPECT_TRUE(clear(below, shortMonitor));
  EXPECT_TRUE(clear(below, frame.toAlignedRect()));
  EXPECT_EQ(below.top(), 40 + 500 + 8);

  // No room clear of both: the frame wins, the island lies over the monitor.
  const QRect overMonitor = IslandPlacement::place(kScreen, kIsland, QRectF(700, 0, 500, 900), QRect(kScreen));
  EXPECT_EQ(overMonitor, QRect(700 + 500 + 8, 0, 640, 320)) << "the nearer side of the frame";
  // And with no frame to keep out of, the top centre.
  EXPECT_EQ(IslandPlacement::place(kScreen, kIsland, std::nullopt, QRect(kScreen)), QRect(640, 0, 640, 320));
}

}  // namespace
}  // namespace vorn
