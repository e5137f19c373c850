// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/CameraMotion.h"
#include "engine/CaptureSteering.h"
#include "engine/CropMotion.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vorn {
namespace {

constexpr double kTick = 1.0 / 60;

RenderInputs recordingInputs() {
  RenderInputs in;
  in.home = {800, 60, 540, 960};
  in.displaySize = {1920, 1080};
  in.recording = true;
  in.writing = true;
  in.live = true;
  in.slots = Geometry::slots(LayoutFields{});
  return in;
}

PointerState at(double x, double y, bool overOwnWindow = false) {
  return {{x, y}, false, overOwnWindow};
}

// Runs `seconds` of ticks from `start`; returns the time reached.
double run(CameraMotion& motion, const RenderInputs& in, double start, double seconds,
           std::optional<PointerState> pointer) {
  double t = start;
  for (int i = 0; i < int(seconds * 60); ++i) {
    t += kTick;
    motion.step(kTick, t, in, pointer);
  }
  return t;
}

TEST(Rect, clampedShrinksKeepingAspectThenMovesInside) {
  const Rect bounds{0, 0, 100, 50};
  EXPECT_EQ((Rect{90, 45, 20, 10}).clamped(bounds), (Rect{80, 40, 20, 10}));
  EXPECT_EQ((Rect{-5, -5, 20, 10}).clamped(bounds), (Rect{0, 0, 20, 10}));
  const Rect big = Rect{-50, 0, 200, 100}.clamped(bounds);  // factor 0.5 about the centre
  EXPECT_EQ(big, (Rect{0, 0, 100, 50}));
  EXPECT_EQ((Rect{10, 10, 20, 10}).clamped(bounds), (Rect{10, 10, 20, 10}));
}

TEST(CameraMotion, framingSnapsToHomeThenGlidesAndDraggingJumps) {
  CameraMotion motion;
  RenderInputs in = recordingInputs();
  in.recording = false;
  motion.step(kTick, 1, in, std::nullopt);
  EXPECT_EQ(motion.cam(), in.home) << "a zero camera starts at home";

  in.home = {100, 100, 540, 960};
  motion.step(kTick, 1 + kTick, in, std::nullopt);
  const double k = 1 - std::exp(-kTick * CameraMotion::framingRate);
  EXPECT_NEAR(motion.cam().x, 800 + (100 - 800) * k, 1e-9);

  in.dragging = true;
  in.home = {300, 50, 540, 960};
  motion.step(kTick, 1 + 2 * kTick, in, std::nullopt);
  EXPECT_EQ(motion.cam(), (Rect{300, 50, 540, 960}).clamped({0, 0, 1920, 1080}));
}

TEST(CameraMotion, theFirstRecordingTickReseedsFollowAndZoom) {
  CameraMotion motion;
  RenderInputs in = recordingInputs();
  in.recording = false;
  in.clickZoom = true;
  in.clickTime = 5;  // a click made while framing
  in.clickPoint = {900, 400};
  motion.step(kTick, 5.1, in, std::nullopt);
  in.recording = true;
  motion.step(kTick, 5.2, in, at(1900, 1000));
  EXPECT_EQ(motion.zoomTarget(), 1.0) << "a click before the take does not zoom";
  run(motion, in, 5.2, 3, std::nullopt);
  EXPECT_NEAR(motion.cam().width, 540, 1e-6);
}

TEST(CameraMotion, followMovesOnlyAsFarAsTheDeadZoneRequires) {
  CameraMotion motion;
  RenderInputs in = recordingInputs();
  in.home = {600, 100, 540, 960};
  in.displaySize = {2560, 1440};
  in.follow = true;
  motion.step(kTick, 10, in, std::nullopt);
  EXPECT_EQ(motion.followCenter(), in.home.center());

  // Inside the dead zone (22 % of the width each side): the centre holds.
  const Point centre = in.home.center();
  run(motion, in, 10, 1, at(centre.x + 540 * 0.27, centre.y + 960 * 0.29));
  EXPECT_EQ(motion.followCenter(), centre);

  // 100 points right of the zone: the centre moves exactly 100 to the right.
  const double zoneRight = centre.x + 540 * 0.5 - 540 * 0.22;
  motion.step(kTick, 11.1, in, at(zoneRight + 100, centre.y));
  EXPECT_NEAR(motion.followCenter().x, centre.x + 100, 1e-9);
  EXPECT_NEAR(motion.followCenter().y, centre.y, 1e-9);

  // A pointer off the display leaves the centre where it is.
  const Point held = motion.followCenter();
  motion.step(kTick, 11.2, in, at(-10, 50));
  EXPECT_EQ(motion.followCenter(), held);

  // The display origin makes the pointer display-local.
  in.displayOrigin = {2560, 0};
  motion.step(kTick, 11.3, in, at(100, 50));
  EXPECT_EQ(motion.followCenter(), held) << "(100, 50) globally lies on another display";
}

TEST(CameraMotion, followWaitsForThePointerToComeIntoViewAndHoldsOverVornsWindows) {
  CameraMotion motion;
  RenderInputs in = recordingInputs();
  in.home = {600, 100, 540, 960};
  in.displaySize = {2560, 1440};
  in.follow = true;
  const Point centre = in.home.center();

  // Record pressed on the studio far to the right: the take opens on the framed area.
  double t = run(motion, in, 20, 1, at(2400, 700));
  EXPECT_EQ(motion.followCenter(), centre);
  EXPECT_NEAR(motion.cam().x, 600, 1e-6);

  // Into view, then out to the right: now it follows.
  t = run(motion, in, t, 0.2, at(centre.x, centre.y));
  t = run(motion, in, t, 0.2, at(1300, 500));
  const double followed = motion.followCenter().x;
  EXPECT_GT(followed, centre.x);

  // Onto one of Vorn's windows (to press Stop): the view holds where it was.
  t = run(motion, in, t, 1, at(2400, 700, true));
  EXPECT_EQ(motion.followCenter().x, followed);
  // Onto the top panel (to Vorn's tray icon), and into the tray menu the panel draws.
  in.workArea = {0, 30, 2560, 1410};
  t = run(motion, in, t, 1, at(2510, 10));
  EXPECT_EQ(motion.followCenter().x, followed);
  in.trayMenuOpen = true;
  t = run(motion, in, t, 1, at(2400, 100));
  EXPECT_EQ(motion.followCenter().x, followed);
  in.trayMenuOpen = false;

  // A new take waits again for the pointer to come into view.
  in.recording = false;
  t = run(motion, in, t, 0.5, std::nullopt);
  in.recording = true;
  run(motion, in, t, 1, at(2400, 700));
  EXPECT_EQ(motion.followCenter(), centre);
}

TEST(CameraMotion, clickZoomsToSeventyPercentAndGlidesBackAfterTheHold) {
  CameraMotion motion;
  RenderInputs in = recordingInputs();
  in.follow = true;  // with the pointer unknown, follow holds the centre where it is
  in.clickZoom = true;
  double t = run(motion, in, 20, 0.5, std::nullopt);
  in.clickTime = t;
  in.clickPoint = {1000, 700};
  t = run(motion, in, t, 2.0, std::nullopt);
  EXPECT_EQ(motion.zoomTarget(), CameraMotion::zoomedScale);
  EXPECT_NEAR(motion.cam().width, 540 * 0.7, 540 * 0.01);
  EXPECT_NEAR(motion.cam().midX(), 1000, 3);
  EXPECT_NEAR(motion.cam().midY(), 700, 3);

  t = run(motion, in, t, 0.7, std::nullopt);  // past 2.6 s
  EXPECT_EQ(motion.zoomTarget(), 1.0);
  t = run(motion, in, t, 3, std::nullopt);
  EXPECT_NEAR(motion.cam().width, 540, 1);
  // Back to full size around the same point, as far as the display allows.
  EXPECT_NEAR(motion.cam().midX(), 1000, 1);
  EXPECT_NEAR(motion.cam().maxY(), 1080, 1) << "clamped to the display's bottom";
}

TEST(CameraMotion, bigStepsAreCappedByTheCallerAndCamStaysOnTheDisplay) {
  CameraMotion motion;
  RenderInputs in = recordingInputs();
  in.home = {1700, 900, 540, 960};  // reaches past the display
  motion.step(0.05, 1, in, at(1919, 1079));
  const Rect cam = motion.cam();
  EXPECT_GE(cam.minX(), 0);
  EXPECT_LE(cam.maxX(), 1920 + 1e-9);
  EXPECT_LE(cam.maxY(), 1080 + 1e-9);
}

TEST(CropMotion, targetArithmetic) {
  // Centred full-height crop for a 9:16 card on a 1920 × 1080 camera without a face.
  const double a = 9.0 / 16.0;
  const Rect plain = CropMotion::target(a, 0.46, 1920, 1080, std::nullopt);
  EXPECT_NEAR(plain.height, 1.0, 1e-12);
  EXPECT_NEAR(plain.width * 1920, a * 1080, 1e-9);
  EXPECT_NEAR(plain.midX(), 0.5, 1e-12);

  // A face 0.2 of the height tall at the centre: the crop is 0.2 / 0.46 of the height and
  // the face sits 0.42 of the crop below its top.
  const Rect face{0.45, 0.4, 0.1, 0.2};
  const Rect framed = CropMotion::target(1.0, 0.46, 1920, 1080, face);
  const double h = 0.2 * 1080 / 0.46;
  EXPECT_NEAR(framed.height * 1080, h, 1e-9);
  EXPECT_NEAR(framed.width * 1920, h, 1e-9);
  EXPECT_NEAR(framed.y * 1080, (1 - 0.5) * 1080 - 0.42 * h, 1e-9);
  EXPECT_NEAR(framed.midX(), 0.5, 1e-9);

  // A tiny face is held at the floor of 38 %.
  const Rect tiny = CropMotion::target(1.0, 0.46, 1920, 1080, Rect{0.5, 0.5, 0.01, 0.01});
  EXPECT_NEAR(tiny.height, 0.38, 1e-12);

  // A face at the image's corner keeps the crop inside the image.
  const Rect corner = CropMotion::target(1.0, 0.46, 1920, 1080, Rect{0.95, 0.9, 0.05, 0.1});
  EXPECT_NEAR(corner.maxX(), 1.0, 1e-12);
  EXPECT_NEAR(corner.minY(), 0.0, 1e-12);

  EXPECT_EQ(CropMotion::target(1.0, 0.46, 0.5, 1080, face), (Rect{0, 0, 1, 1}));
}

TEST(CropMotion, aspectChangesJumpAndOldFacesAreIgnored) {
  CropMotion motion;
  LayoutFields p;
  p.layout = Layout::split;
  const Slots split = Geometry::slots(p);
  motion.step(kTick, 1, split, 1920, 1080, std::nullopt);
  const double aspect = split.camera->width / split.camera->height;
  EXPECT_NEAR(motion.crop().width * 1920 / (motion.crop().height * 1080), aspect, 1e-9)
      << "the first step from (0,0,1,1) jumps";

  // A fresh face: the crop glides (one step moves only part of the way).
  const Face face{{0.2, 0.3, 0.1, 0.2}, 1.0};
  const Rect before = motion.crop();
  motion.step(kTick, 1.1, split, 1920, 1080, face);
  const Rect goal = CropMotion::target(aspect, split.faceFraction, 1920, 1080, face.rect);
  EXPECT_NE(motion.crop(), goal);
  EXPECT_LT(std::abs(motion.crop().x - goal.x), std::abs(before.x - goal.x));
  for (int i = 0; i < 300; ++i) motion.step(kTick, 1.2, split, 1920, 1080, face);
  EXPECT_NEAR(motion.crop().x, goal.x, 1e-6);

  // The same face 1.5 s later no longer counts: back towards the centred crop.
  for (int i = 0; i < 600; ++i) motion.step(kTick, 2.6, split, 1920, 1080, face);
  const Rect centred = CropMotion::target(aspect, split.faceFraction, 1920, 1080, std::nullopt);
  EXPECT_NEAR(motion.crop().x, centred.x, 1e-6);

  // Switching to the round bubble (aspect 1) jumps straight to the new crop.
  const Slots bubble = Geometry::slots(LayoutFields{});
  motion.step(kTick, 3, bubble, 1920, 1080, std::nullopt);
  EXPECT_EQ(motion.crop(), CropMotion::target(1.0, bubble.faceFraction, 1920, 1080, std::nullopt));
}

TEST(CropMotion, aStillFaceFoundAFewPerCentApartSettlesTheCropExactly) {
  CropMotion motion;
  const Slots bubble = Geometry::slots(LayoutFields{});
  // Face finding's answers for one still face alternate by about 5 %.
  const Face faces[] = {{{0.34, 0.68, 0.181, 0.181}, 1.0}, {{0.343, 0.687, 0.19, 0.19}, 1.0}};
  for (int i = 0; i < 600; ++i) motion.step(kTick, 1.1, bubble, 1920, 1080, faces[i / 7 % 2]);
  const Rect settled = motion.crop();
  for (int i = 0; i < 60; ++i) motion.step(kTick, 1.2, bubble, 1920, 1080, faces[i / 7 % 2]);
  EXPECT_EQ(motion.crop(), settled) << "a settled crop is exactly still: nothing to redraw";
  // A real move is followed.
  const Face moved{{0.5, 0.68, 0.181, 0.181}, 1.3};
  motion.step(kTick, 1.3, bubble, 1920, 1080, moved);
  EXPECT_GT(motion.crop().x, settled.x);
}

TEST(CropMotion, noCameraSlotOrImageLeavesTheCrop) {
  CropMotion motion;
  LayoutFields p;
  p.cameraOn = false;
  motion.step(kTick, 1, Geometry::slots(p), 1920, 1080, std::nullopt);
  EXPECT_EQ(motion.crop(), (Rect{0, 0, 1, 1}));
  motion.step(kTick, 1, Geometry::slots(LayoutFields{}), 0, 0, std::nullopt);
  EXPECT_EQ(motion.crop(), (Rect{0, 0, 1, 1}));
}

TEST(CaptureSteering, coveredTooLargeAndDraggingRules) {
  RenderInputs in = recordingInputs();
  const Rect cam{800, 300, 540, 480};
  EXPECT_FALSE(steerCapture(in, cam, std::nullopt)) << "nothing before a first request";

  const Rect want{800 - 243, 300 - 120, 540 * 1.9, 480 * 1.5};
  const auto asked = steerCapture(in, cam, CaptureRequest{{0, 0, 100, 100}, true});
  ASSERT_TRUE(asked);
  EXPECT_EQ(*asked, (CaptureRequest{want, true}));

  // The wanted area itself covers: keep it.
  EXPECT_FALSE(steerCapture(in, cam, CaptureRequest{want, true}));
  // The same area at the wrong resolution is not covered.
  EXPECT_TRUE(steerCapture(in, cam, CaptureRequest{want, false}));
  // One point short is still covered (the request is grown by one point).
  const Rect need = cam.outsetBy(540 * 0.06, 480 * 0.06);
  EXPECT_FALSE(steerCapture(in, cam, CaptureRequest{need.insetBy(0.9, 0.9), true}));
  EXPECT_TRUE(steerCapture(in, cam, CaptureRequest{need.insetBy(1.1, 1.1), true}));

  // Far larger than wanted: ask for less, unless the user is dragging.
  const CaptureRequest huge{{0, 0, 1920, 1080}, true};
  EXPECT_TRUE(steerCapture(in, cam, huge));
  in.dragging = true;
  EXPECT_FALSE(steerCapture(in, cam, huge));

  LayoutFields meOnly;
  meOnly.layout = Layout::me;
  in.slots = Geometry::slots(meOnly);
  EXPECT_FALSE(steerCapture(in, cam, CaptureRequest{{0, 0, 10, 10}, false})) << "no screen slot";
}

}  // namespace
}  // namespace vorn
