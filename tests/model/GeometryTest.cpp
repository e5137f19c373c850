// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Geometry.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

LayoutFields layout(Layout l, FrameStyle s) {
  LayoutFields p;
  p.layout = l;
  p.style = s;
  return p;
}

void expectRectNear(const std::optional<Rect>& actual, Rect expected) {
  ASSERT_TRUE(actual.has_value());
  EXPECT_NEAR(actual->x, expected.x, 1e-9);
  EXPECT_NEAR(actual->y, expected.y, 1e-9);
  EXPECT_NEAR(actual->width, expected.width, 1e-9);
  EXPECT_NEAR(actual->height, expected.height, 1e-9);
}

TEST(Geometry, screenBleedWithoutCamera) {
  LayoutFields p = layout(Layout::screen, FrameStyle::bleed);
  p.cameraOn = false;
  const Slots s = Geometry::slots(p);
  EXPECT_EQ(s.screen, (Rect{0, 0, 1080, 1920}));
  EXPECT_FALSE(s.camera);
  EXPECT_FALSE(s.cameraCircle);
  EXPECT_EQ(s.radius, 0);
  EXPECT_FALSE(s.backdrop);
  EXPECT_EQ(s.faceFraction, 0.3);
}

TEST(Geometry, screenFloatingWithTheDefaultBubble) {
  const Slots s = Geometry::slots(layout(Layout::screen, FrameStyle::floating));
  EXPECT_EQ(s.screen, (Rect{56, 210, 968, 1270}));
  expectRectNear(s.camera, {97.2, 1220.4, 324, 324});
  EXPECT_TRUE(s.cameraCircle);
  EXPECT_EQ(s.radius, 44);
  EXPECT_TRUE(s.backdrop);
  EXPECT_EQ(s.faceFraction, 0.46);
}

TEST(Geometry, bubbleIsNeitherClampedNorRounded) {
  LayoutFields p = layout(Layout::screen, FrameStyle::bleed);
  p.bubbleX = 1.0;
  p.bubbleY = 0.0;
  p.bubbleSize = 0.5;
  const Slots s = Geometry::slots(p);
  EXPECT_EQ(s.camera, (Rect{810, -270, 540, 540}));
  EXPECT_TRUE(s.cameraCircle);
  EXPECT_EQ(s.radius, 0) << "the bubble's own radius comes from the compositor";
}

TEST(Geometry, splitBleedCameraOnTop) {
  LayoutFields p = layout(Layout::split, FrameStyle::bleed);
  p.cameraOnTop = true;
  const Slots s = Geometry::slots(p);
  expectRectNear(s.camera, {0, 0, 1080, 883.2});
  expectRectNear(s.screen, {0, 883.2, 1080, 1036.8});
  EXPECT_FALSE(s.cameraCircle);
  EXPECT_EQ(s.radius, 0);
  EXPECT_FALSE(s.backdrop);
  EXPECT_EQ(s.faceFraction, 0.36);
}

TEST(Geometry, splitFloatingScreenOnTop) {
  const Slots s = Geometry::slots(layout(Layout::split, FrameStyle::floating));
  expectRectNear(s.screen, {44, 150, 992, 865.08});
  expectRectNear(s.camera, {44, 1033.08, 992, 736.92});
  EXPECT_EQ(s.radius, 40);
  EXPECT_TRUE(s.backdrop);
  EXPECT_EQ(s.faceFraction, 0.36);
}

TEST(Geometry, splitIgnoresCameraOnAndAllowsEmptyPanes) {
  LayoutFields p = layout(Layout::split, FrameStyle::bleed);
  p.cameraOn = false;
  p.splitRatio = 1;
  const Slots s = Geometry::slots(p);
  EXPECT_EQ(s.screen, (Rect{0, 0, 1080, 1920}));
  EXPECT_EQ(s.camera, (Rect{0, 1920, 1080, 0}));
  p.style = FrameStyle::floating;
  p.splitRatio = 0;
  const Slots f = Geometry::slots(p);
  EXPECT_EQ(f.screen, (Rect{44, 150, 992, 0}));
  EXPECT_EQ(f.camera, (Rect{44, 168, 992, 1602}));
}

TEST(Geometry, meIsTheSameForBothStylesAndIgnoresCameraOn) {
  LayoutFields p = layout(Layout::me, FrameStyle::bleed);
  const Slots bleed = Geometry::slots(p);
  p.style = FrameStyle::floating;
  p.cameraOn = false;
  EXPECT_EQ(Geometry::slots(p), bleed);
  EXPECT_FALSE(bleed.screen);
  EXPECT_EQ(bleed.camera, (Rect{0, 0, 1080, 1920}));
  EXPECT_EQ(bleed.faceFraction, 0.2);
  EXPECT_FALSE(bleed.backdrop);
}

TEST(Geometry, everyLayoutAndStyleGivesAConsistentResult) {
  for (Layout l : allCases<Layout>()) {
    for (FrameStyle st : allCases<FrameStyle>()) {
      for (bool cameraOn : {true, false}) {
        LayoutFields p = layout(l, st);
        p.cameraOn = cameraOn;
        const Slots s = Geometry::slots(p);
        EXPECT_EQ(s.backdrop, s.radius > 0) << "rounded cards always float on a backdrop";
        EXPECT_EQ(s.cameraCircle, l == Layout::screen && cameraOn);
        EXPECT_EQ(s.screen.has_value(), l != Layout::me);
        if (s.screen) {
          EXPECT_TRUE((Rect{0, 0, 1080, 1920}).contains(*s.screen));
        }
      }
    }
  }
}

}  // namespace
}  // namespace vorn
