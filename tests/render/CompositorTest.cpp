// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Compositor.h"

#include "model/Prefs.h"
#include "model/Geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace vorn {
namespace {

struct Pixel {
  int b = 0;
  int g = 0;
  int r = 0;
  int a = 0;
  bool operator==(const Pixel&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Pixel& p) {
  return out << "(b " << p.b << ", g " << p.g << ", r " << p.r << ", a " << p.a << ")";
}

const Pixel base{6, 5, 5, 255};

Pixel pixelAt(const FrameBuffer& frame, int x, int y) {
  const std::uint8_t* p = frame.row(y) + 4 * x;
  return {p[0], p[1], p[2], p[3]};
}

void paint(FrameBuffer& frame, int x0, int y0, int x1, int y1, Pixel colour) {
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      std::uint8_t* p = frame.row(y) + 4 * x;
      p[0] = std::uint8_t(colour.b);
      p[1] = std::uint8_t(colour.g);
      p[2] = std::uint8_t(colour.r);
      p[3] = std::uint8_t(colour.a);
    }
  }
}

FrameRef solidFrame(int width, int height, Pixel colour) {
  auto frame = std::make_shared<FrameBuffer>(width, height);
  paint(*frame, 0, 0, width, height, colour);
  return frame;
}

Slots slotsFor(Layout layout, FrameStyle style, bool cameraOn) {
  Prefs prefs;
  prefs.layout = layout;
  prefs.style = style;
  prefs.cameraOn = cameraOn;
  return Geometry::slots(prefs);
}

// A scene whose screen image covers the display area (0, 0, 1000, 1000) and shows all of it.
FrameScene sceneFor(const Slots& slots) {
  FrameScene scene;
  scene.slots = slots;
  scene.area = {0, 0, 1000, 1000};
  scene.cam = {0, 0, 1000, 1000};
  scene.crop = {0, 0, 1, 1};
  return scene;
}

class CompositorTest : public testing::Test {
 protected:
  FrameBuffer& compose(const FrameScene& scene, const FrameRef& screen, const FrameRef& camera,
                       double scale = 1.0) {
    target_ = compositor_.previewBuffer(scale);
    compositor_.compose(scene, screen.get(), camera.get(), scale, *target_);
    return *target_;
  }

  Compositor compositor_;
  FrameRef target_;
};

TEST_F(CompositorTest, outsideARoundedCornerIsBackdropAndInsideIsTheScreen) {
  const Pixel red{0, 0, 255, 255};
  const FrameBuffer& frame =
      compose(sceneFor(slotsFor(Layout::screen, FrameStyle::floating, false)),
              solidFrame(500, 500, red), nullptr);
  // The card is (56, 210, 968, 1270) with radius 44: its corner's circle centres on (100, 254).
  EXPECT_EQ(pixelAt(frame, 500, 800), red) << "inside the card";
  EXPECT_EQ(pixelAt(frame, 70, 400), red) << "inside, near the left side";
  const Pixel corner = pixelAt(frame, 60, 214);
  EXPECT_LT(corner.r, 140) << "the corner is cut away: " << corner;
  EXPECT_EQ(corner.g, corner.b) << "backdrop made from the red picture, no green";
  // Across the corner's curve, rows pass through intermediate values: antialiased.
  int partialRows = 0;
  for (int y = 214; y < 244; ++y) {
    bool partial = false;
    for (int x = 56; x < 100; ++x) {
      const int value = pixelAt(frame, x, y).r;
      partial |= value > 140 && value < 240;
    }
    partialRows += partial ? 1 : 0;
  }
  const bool partial = partialRows > 20;
  EXPECT_TRUE(partial) << "the rounded edge is antialiased";
}

TEST_F(CompositorTest, bleedHasNoRimNoShadowAndNoRounding) {
  const Pixel grey{100, 100, 100, 255};
  const FrameBuffer& frame = compose(sceneFor(slotsFor(Layout::screen, FrameStyle::bleed, false)),
                                     solidFrame(400, 300, grey), nullptr);
  for (int y = 0; y < 1920; ++y) {
    for (int x = 0; x < 1080; ++x) {
      ASSERT_EQ(pixelAt(frame, x, y), grey) << "at " << x << ", " << y;
    }
  }
}

TEST_F(CompositorTest, aCircleBubbleOnBleedHasARimAndAShadow) {
  const Pixel grey{128, 128, 128, 255};
  const Slots slots = slotsFor(Layout::screen, FrameStyle::bleed, true);
  ASSERT_TRUE(slots.cameraCircle);
  const FrameBuffer& frame =
      compose(sceneFor(slots), solidFrame(400, 300, grey), solidFrame(640, 360, grey));
  const Rect bubble = *slots.camera;  // (97.2, 1220.4, 324, 324)
  const int centreX = int(bubble.midX());
  // The rim: a light line just inside the outline.
  int brightest = 0;
  for (int y = int(bubble.minY()) - 2; y < int(bubble.minY()) + 4; ++y) {
    brightest = std::max(brightest, pixelAt(frame, centreX, y).r);
  }
  EXPECT_GT(brightest, 128 + 10) << "a faint white rim at the top of the bubble";
  // The shadow: darker just outside the bubble.
  const Pixel below = pixelAt(frame, centreX, int(bubble.maxY()) + 12);
  EXPECT_LT(below.r, 128 - 10) << below;
  EXPECT_EQ(below.a, 255) << "a shadow over an opaque picture leaves it opaque";
  EXPECT_EQ(pixelAt(frame, 900, 200), grey) << "far from the bubble the screen is untouched";
}

TEST_F(CompositorTest, theShadowIsDarkerBelowACardThanAboveIt) {
  const Pixel grey{160, 160, 160, 255};
  const Slots slots = slotsFor(Layout::screen, FrameStyle::bleed, true);
  const FrameBuffer& frame =
      compose(sceneFor(slots), solidFrame(400, 300, grey), solidFrame(640, 360, grey));
  const Rect bubble = *slots.camera;
  const int x = int(bubble.midX());
  for (int gap : {4, 12, 24, 40}) {
    const Pixel above = pixelAt(frame, x, int(bubble.minY()) - gap);
    const Pixel below = pixelAt(frame, x, int(bubble.maxY()) + gap);
    EXPECT_LT(below.r, above.r) << gap << " pixels away: above " << above << ", below " << below;
  }
}

TEST_F(CompositorTest, mirroringMovesALeftMarkToTheRightWithinTheSameExtent) {
  // A 1920 × 1080 camera picture shown whole (crop 0, 0, 1, 1) in the `me` layout: aspect fill
  // shows its middle 607 columns. A white mark sits left of the centre.
  const Pixel dark{40, 40, 40, 255};
  const Pixel white{255, 255, 255, 255};
  FrameRef camera = solidFrame(1920, 1080, dark);
  paint(*camera, 760, 0, 800, 1080, white);
  FrameScene scene = sceneFor(slotsFor(Layout::me, FrameStyle::bleed, true));
  const auto markCentre = [&](const FrameBuffer& frame) {
    int sum = 0;
    int count = 0;
    for (int x = 0; x < 1080; ++x) {
      if (pixelAt(frame, x, 960).r > 200) {
        sum += x;
        ++count;
      }
    }
    return count ? double(sum) / count : -1.0;
  };
  const double plain = markCentre(compose(scene, nullptr, camera));
  scene.mirror = true;
  const FrameBuffer& mirrored = compose(scene, nullptr, camera);
  const double flipped = markCentre(mirrored);
  ASSERT_GT(plain, 0);
  EXPECT_LT(plain, 540);
  EXPECT_GT(flipped, 540);
  EXPECT_NEAR(plain + flipped, 1080, 2) << "flipped about the picture's own centre";
  for (int y : {0, 1919}) {
    for (int x : {0, 1079}) EXPECT_EQ(pixelAt(mirrored, x, y), dark) << "still covers the canvas";
  }
}

TEST_F(CompositorTest, everyLayoutAndStyleGivesAnOpaqueFrame) {
  const FrameRef screen = solidFrame(300, 300, {200, 100, 50, 255});
  const FrameRef camera = solidFrame(640, 360, {50, 100, 200, 255});
  for (const auto& [layout, layoutName] : EnumCases<Layout>::cases) {
    for (const auto& [style, styleName] : EnumCases<FrameStyle>::cases) {
      for (double scale : {1.0, 0.5}) {
        const FrameBuffer& frame = compose(sceneFor(slotsFor(layout, style, true)), screen, camera, scale);
        int transparent = 0;
        for (int y = 0; y < frame.height(); ++y) {
          for (int x = 0; x < frame.width(); ++x) transparent += pixelAt(frame, x, y).a != 255;
        }
        EXPECT_EQ(transparent, 0) << layoutName << " " << styleName << " at scale " << scale;
      }
    }
  }
}

TEST_F(CompositorTest, scaledGradientsStaySmoothInBothDirections) {
  // A horizontal ramp enlarged and shrunk: every row must rise steadily, with no stray columns.
  for (int width : {300, 2400}) {
    auto screen = std::make_shared<FrameBuffer>(width, 200);
    for (int x = 0; x < width; ++x) {
      const int value = x * 255 / (width - 1);
      paint(*screen, x, 0, x + 1, 200, {value, value, value, 255});
    }
    FrameScene scene = sceneFor(slotsFor(Layout::split, FrameStyle::bleed, false));
    scene.area = {0, 0, double(width), 200};
    scene.cam = scene.area;
    const FrameBuffer& frame = compose(scene, screen, nullptr);
    for (int y : {10, 400, 800}) {
      for (int x = 1; x < 1080; ++x) {
        const int step = pixelAt(frame, x, y).r - pixelAt(frame, x - 1, y).r;
        ASSERT_GE(step, 0) << "source width " << width << ", row " << y << ", column " << x;
        ASSERT_LE(step, 3) << "source width " << width << ", row " << y << ", column " << x;
      }
    }
  }
}

TEST_F(CompositorTest, theViewportPicksItsPartOfTheDisplay) {
  // A 200 × 100 image of the display area (0, 0, 2000, 1000): blue left half, green right half.
  const Pixel blue{255, 0, 0, 255};
  const Pixel green{0, 255, 0, 255};
  FrameRef screen = solidFrame(200, 100, blue);
  paint(*screen, 100, 0, 200, 100, green);
  FrameScene scene = sceneFor(slotsFor(Layout::screen, FrameStyle::bleed, false));
  scene.area = {0, 0, 2000, 1000};
  scene.cam = {1100, 100, 450, 800};
  const FrameBuffer& right = compose(scene, screen, nullptr);
  EXPECT_EQ(pixelAt(right, 20, 20), green);
  EXPECT_EQ(pixelAt(right, 1060, 1900), green);
  scene.cam = {300, 100, 450, 800};
  const FrameBuffer& left = compose(scene, screen, nullptr);
  EXPECT_EQ(pixelAt(left, 20, 20), blue);
  EXPECT_EQ(pixelAt(left, 1060, 1900), blue);
  // Straddling the middle of the display: the boundary lands in the middle of the canvas.
  scene.cam = {775, 100, 450, 800};
  const FrameBuffer& middle = compose(scene, screen, nullptr);
  EXPECT_EQ(pixelAt(middle, 100, 960), blue);
  EXPECT_EQ(pixelAt(middle, 980, 960), green);
}

TEST_F(CompositorTest, aViewportOutsideTheAreaGivesNoScreenCardAndACameraBackdrop) {
  const Pixel red{0, 0, 255, 255};
  const Pixel green{0, 255, 0, 255};
  FrameScene scene = sceneFor(slotsFor(Layout::screen, FrameStyle::floating, true));
  scene.cam = {2000, 0, 500, 500};
  const FrameBuffer& frame =
      compose(scene, solidFrame(500, 500, red), solidFrame(640, 360, green));
  const Pixel cardCentre = pixelAt(frame, 540, 600);
  EXPECT_LT(cardCentre.r, 20) << "no red screen card: " << cardCentre;
  EXPECT_GT(cardCentre.g, 40) << "the backdrop is made from the green camera: " << cardCentre;
  EXPECT_EQ(pixelAt(frame, 259, 1382), green) << "the bubble itself";
}

TEST_F(CompositorTest, noImagesWithTheBackdropOnGiveThePlainBase) {
  const FrameBuffer& frame =
      compose(sceneFor(slotsFor(Layout::screen, FrameStyle::floating, true)), nullptr, nullptr);
  for (int y = 0; y < 1920; ++y) {
    for (int x = 0; x < 1080; ++x) ASSERT_EQ(pixelAt(frame, x, y), base) << x << ", " << y;
  }
}

TEST_F(CompositorTest, theTwentySixthDistinctShadowEmptiesTheCache) {
  const FrameRef camera = solidFrame(64, 64, {90, 90, 90, 255});
  FrameScene scene = sceneFor(slotsFor(Layout::screen, FrameStyle::bleed, true));
  for (int i = 0; i < 26; ++i) {
    scene.slots.camera = Rect{20.0 + 10 * i, 100, 120, 120};
    compose(scene, nullptr, camera, 0.5);
    EXPECT_EQ(compositor_.shadowCount(), i < 25 ? size_t(i + 1) : size_t(1)) << "shadow " << i + 1;
  }
  compose(scene, nullptr, camera, 0.5);
  EXPECT_EQ(compositor_.shadowCount(), 1u) << "the same card reuses its shadow";
}

TEST_F(CompositorTest, previewBuffersAreHalfSizeAndShareOnePool) {
  const FrameRef first = compositor_.previewBuffer(0.5);
  const FrameRef second = compositor_.previewBuffer(0.5);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->width(), 540);
  EXPECT_EQ(first->height(), 960);
  EXPECT_NE(first, second);
  EXPECT_EQ(compositor_.poolCount(), 1u);
  ASSERT_NE(compositor_.pool(540), nullptr);
  EXPECT_GE(compositor_.pool(540)->allocatedCount(), 4);
  EXPECT_EQ(compositor_.previewBuffer(0), nullptr);
  EXPECT_EQ(compositor_.previewBuffer(std::numeric_limits<double>::quiet_NaN()), nullptr);
}

TEST_F(CompositorTest, splitBleedPanesMeetWithoutASeam) {
  const Pixel blue{255, 0, 0, 255};
  const Pixel green{0, 255, 0, 255};
  const FrameBuffer& frame =
      compose(sceneFor(slotsFor(Layout::split, FrameStyle::bleed, true)),
              solidFrame(300, 300, blue), solidFrame(640, 360, green));
  for (int y = 0; y < 1920; ++y) {
    const Pixel p = pixelAt(frame, 540, y);
    ASSERT_TRUE(p == blue || p == green) << "row " << y << ": " << p;
  }
  EXPECT_EQ(pixelAt(frame, 540, 0), blue) << "the screen pane is on top";
  EXPECT_EQ(pixelAt(frame, 540, 1919), green);
}

TEST_F(CompositorTest, degenerateInputsDrawWhatTheyCanWithoutFailing) {
  const FrameRef screen = solidFrame(100, 100, {10, 20, 30, 255});
  const FrameRef camera = solidFrame(100, 100, {30, 20, 10, 255});
  FrameScene scene = sceneFor(slotsFor(Layout::screen, FrameStyle::floating, true));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  scene.cam = {nan, 0, 10, 10};
  scene.crop = {0.5, 0.5, 0, 0};
  compose(scene, screen, camera);
  scene.slots.camera = Rect{-1e6, -1e6, 3e6, 3e6};  // a circle far larger than the canvas
  compose(scene, screen, camera);
  scene.slots.camera = Rect{-5000, 1e12, 1e9, 3};
  scene.slots.screen = Rect{0, 0, 1080, 0};
  compose(scene, screen, camera, 0.25);
  FrameBuffer tiny(3, 3);
  compositor_.compose(scene, screen.get(), camera.get(), 1.0, tiny);
  compositor_.compose(scene, screen.get(), camera.get(), nan, tiny);
  const FrameRef oneByOne = solidFrame(1, 1, {0, 0, 0, 255});
  scene = sceneFor(slotsFor(Layout::split, FrameStyle::floating, true));
  const FrameBuffer& frame = compose(scene, oneByOne, oneByOne, 0.5);
  EXPECT_EQ(pixelAt(frame, 270, 300).a, 255);
}

}  // namespace
}  // namespace vorn
