// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/HomeFrame.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vorn {
namespace {

TEST(HomeFrame, aspectFollowsTheScreenSlot) {
  Prefs p;
  EXPECT_DOUBLE_EQ(HomeFrame::aspect(p), 968.0 / 1270.0);
  p.style = FrameStyle::bleed;
  EXPECT_DOUBLE_EQ(HomeFrame::aspect(p), 1080.0 / 1920.0);
  p.layout = Layout::me;
  EXPECT_DOUBLE_EQ(HomeFrame::aspect(p), 0.5625);
}

TEST(HomeFrame, idealHeightKeepsTextReadable) {
  Prefs p;
  p.style = FrameStyle::bleed;
  // 1080 × 14 × (402 / 1080) / 11.5 / 0.5625
  EXPECT_NEAR(HomeFrame::idealHeight(p), 14 * 402 / 11.5 / 0.5625, 1e-9);
}

TEST(HomeFrame, savedFractionsRestoreBeforeFitting) {
  Prefs p;
  p.layout = Layout::me;  // aspect 0.5625
  p.home = std::vector<double>{0.25, 0.25, 0.5, 0.5};
  // (360, 225, 720, 450) on 1440 × 900, then fitted to 9:16 about its centre.
  const Rect r = HomeFrame::restore(p, {1440, 900});
  EXPECT_NEAR(r.height, 450, 1e-9);
  EXPECT_NEAR(r.width, 450 * 0.5625, 1e-9);
  EXPECT_NEAR(r.midX(), 720, 1e-9);
  EXPECT_NEAR(r.midY(), 450, 1e-9);
}

TEST(HomeFrame, aMalformedSavedFrameGivesTheCentredDefault) {
  Prefs p;
  p.home = std::vector<double>{0.1, 0.2, 0.3};
  const Rect r = HomeFrame::restore(p, {1920, 1080});
  const double h = std::min(0.88 * 1080, HomeFrame::idealHeight(p));
  EXPECT_NEAR(r.height, h, 1e-9);
  EXPECT_NEAR(r.width / r.height, HomeFrame::aspect(p), 1e-9);
  EXPECT_NEAR(r.midX(), 960, 1e-9);
  EXPECT_NEAR(r.midY(), 540, 1e-9);
}

TEST(HomeFrame, fitAspectKeepsHeightCentreAndScreen) {
  const Size screen{1920, 1080};
  EXPECT_EQ(HomeFrame::fitAspect({100, 100, 500, 1000}, 0.5, screen), (Rect{100, 100, 500, 1000}))
      << "within tolerance";
  const Rect wide = HomeFrame::fitAspect({0, 0, 1600, 900}, 0.5625, screen);
  EXPECT_NEAR(wide.height, 900, 1e-9);
  EXPECT_NEAR(wide.width, 506.25, 1e-9);
  EXPECT_NEAR(wide.midX(), 800, 1e-9);
  // Too wide for the screen: the height gives way.
  const Rect landscape = HomeFrame::fitAspect({0, 0, 100, 1000}, 4.0, screen);
  EXPECT_NEAR(landscape.width, 1920, 1e-9);
  EXPECT_NEAR(landscape.height, 480, 1e-9);
  EXPECT_GE(landscape.x, 0);
  // Near the edge: clamped back onto the screen.
  const Rect edge = HomeFrame::fitAspect({1800, 0, 100, 1000}, 0.5625, screen);
  EXPECT_LE(edge.maxX(), 1920 + 1e-9);
}

TEST(HomeFrame, dragSnapsWithinTenPointsAndNeverLeavesTheScreen) {
  const Size screen{1920, 1080};
  const HomeFrame::SnapEdges edges = HomeFrame::snapEdges(screen, {{500, 200, 600, 400}});
  const auto dragged = [&](double x, double y) { return HomeFrame::drag({x, y, 300, 500}, edges, screen); };
  EXPECT_TRUE(dragged(509.9, 300).snapped);
  EXPECT_DOUBLE_EQ(dragged(509.9, 300).rect.x, 500);
  EXPECT_FALSE(dragged(510, 300).snapped) << "ten points is too far";
  EXPECT_DOUBLE_EQ(dragged(510, 300).rect.x, 510);
  // The right edge (x + 300) snaps to the window's right edge at 1100.
  EXPECT_DOUBLE_EQ(dragged(795, 300).rect.x, 800);
  // Nearest of two candidates: the left edge 4 from 500 beats the right 6 from 1100.
  EXPECT_DOUBLE_EQ(HomeFrame::drag({496, 300, 598, 500}, edges, screen).rect.x, 500);
  // Off screen: clamped back.
  const Rect gone = dragged(-400, 900).rect;
  EXPECT_EQ(gone.x, 0);
  EXPECT_EQ(gone.maxY(), 1080);
}

TEST(HomeFrame, resizeGrowsAwayFromTheAnchorAndSnapsToTheReadableSize) {
  const Size screen{1920, 1080};
  const double a = 0.5625, ideal = 600;
  const HomeFrame::Placed up = HomeFrame::resize({1000, 900}, {900, 400}, a, ideal, screen);
  EXPECT_FALSE(up.snapped);
  EXPECT_DOUBLE_EQ(up.rect.height, 500);
  EXPECT_DOUBLE_EQ(up.rect.maxX(), 1000) << "grows left and up from the anchor";
  EXPECT_DOUBLE_EQ(up.rect.maxY(), 900);
  EXPECT_TRUE(HomeFrame::resize({100, 100}, {400, 710}, a, ideal, screen).snapped);
  EXPECT_DOUBLE_EQ(HomeFrame::resize({100, 100}, {400, 710}, a, ideal, screen).rect.height, 600);
  EXPECT_DOUBLE_EQ(HomeFrame::resize({100, 100}, {101, 101}, a, ideal, screen).rect.height, 220)
      << "never smaller than 220 points";
  EXPECT_DOUBLE_EQ(HomeFrame::resize({0, 0}, {5000, 5000}, a, ideal, screen).rect.height, 1080);
}

TEST(HomeFrame, scaleAndReadableKeepTheCentre) {
  const Size screen{1920, 1080};
  const Rect home{800, 200, 281.25, 500};
  const Rect bigger = HomeFrame::scaled(home, 1.5, 0.5625, screen);
  EXPECT_DOUBLE_EQ(bigger.height, 750);
  EXPECT_DOUBLE_EQ(bigger.midX(), home.midX());
  EXPECT_EQ(HomeFrame::scaled(home, std::nan(""), 0.5625, screen).height, 500) << "no NaN frame";
  const Rect readable = HomeFrame::readable(home, 0.5625, 2000, screen);
  EXPECT_DOUBLE_EQ(readable.height, 1080) << "never taller than the screen";
}

TEST(HomeFrame, aGlideMovesAtMostAThirdAfterAStallAndArrivesExactly) {
  const Rect from{0, 0, 100, 100}, to{1000, 0, 100, 100};
  const HomeFrame::GlideStep stalled = HomeFrame::glide(from, to, 1.0);
  EXPECT_NEAR(stalled.rect.x, 1000 * 0.329680, 0.01) << "dt is clamped to 50 ms";
  EXPECT_FALSE(stalled.arrived);
  const HomeFrame::GlideStep last = HomeFrame::glide({999.6, 0, 100, 100}, to, 1.0 / 60);
  EXPECT_TRUE(last.arrived);
  EXPECT_EQ(last.rect, to);
  EXPECT_EQ(HomeFrame::fractions({360, 225, 720, 450}, {1440, 900}),
            (std::vector<double>{0.25, 0.25, 0.5, 0.5}));
}

}  // namespace
}  // namespace vorn
