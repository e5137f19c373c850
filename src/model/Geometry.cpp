// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Geometry.h"

namespace vorn::Geometry {
namespace {

constexpr double W = canvasWidth;
constexpr double H = canvasHeight;

Slots screenLayout(const LayoutFields& p) {
  Slots s;
  if (p.style == FrameStyle::bleed) {
    s.screen = Rect{0, 0, W, H};
  } else {
    // 210 above and 440 below the card: the asymmetry leaves room for the platform's captions.
    s.screen = Rect{56, 210, 968, 1270};
    s.radius = 44;
    s.backdrop = true;
  }
  if (p.cameraOn) {
    const double size = p.bubbleSize * W;
    s.camera = Rect{p.bubbleX * W - size * 0.5, p.bubbleY * H - size * 0.5, size, size};
    s.cameraCircle = true;
    s.faceFraction = 0.46;
  } else {
    s.faceFraction = 0.3;
  }
  return s;
}

Slots splitLayout(const LayoutFields& p) {
  const double r = p.splitRatio;
  const double upperShare = p.cameraOnTop ? 1 - r : r;
  Rect upper;
  Rect lower;
  Slots s;
  if (p.style == FrameStyle::bleed) {
    upper = {0, 0, W, upperShare * H};
    lower = {0, upperShare * H, W, H - upperShare * H};
  } else {
    // Equal margins of 150 above and below the two panes, 18 between them.
    constexpr double usable = 1602;
    upper = {44, 150, 992, upperShare * usable};
    lower = {44, upperShare * usable + 150 + 18, 992, usable - upperShare * usable};
    s.radius = 40;
    s.backdrop = true;
  }
  s.camera = p.cameraOnTop ? upper : lower;
  s.screen = p.cameraOnTop ? lower : upper;
  s.faceFraction = 0.36;
  return s;
}

Slots meLayout() {
  Slots s;
  s.camera = Rect{0, 0, W, H};
  s.faceFraction = 0.2;
  return s;
}

}  // namespace

Slots slots(const LayoutFields& fields) {
  switch (fields.layout) {
    case Layout::screen:
      return screenLayout(fields);
    case Layout::split:
      return splitLayout(fields);
    case Layout::me:
      return meLayout();
  }
  return meLayout();
}

}  // namespace vorn::Geometry
