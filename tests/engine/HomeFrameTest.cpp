#include "engine/HomeFrame.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace vorn
