// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/LayoutHandles.h"

#include "model/Geometry.h"

#include <algorithm>

namespace vorn::LayoutHandles {
namespace {

constexpr double kSmallestBubble = 0.18, kLargestBubble = 0.5;
constexpr double kSmallestRatio = 0.34, kLargestRatio = 0.72;
constexpr double kBubbleHeightShare = 1080.0 / 1920.0;  // the bubble's radius in frame heights

// The share of the frame height over which the split ratio acts: the floating panes share
// 1602 of the 1920 points between their margins.
double splitSpan(FrameStyle style) { return style == FrameStyle::bleed ? 1.0 : 1602.0 / Geometry::canvasHeight; }

}  // namespace

Places locate(const LayoutFields& fields, QSizeF screen) {
  const Slots slots = Geometry::slots(fields);
  const double k = screen.width() / Geometry::canvasWidth;
  Places places;
  if (slots.cameraCircle && slots.camera) {
    const Rect& c = *slots.camera;
    places.bubble = QRectF(c.x * k, c.y * k, c.width * k, c.height * k);
  }
  if (fields.layout == Layout::split && slots.camera && slots.screen) {
    const Rect& upper = slots.camera->y < slots.screen->y ? *slots.camera : *slots.screen;
    const Rect& lower = slots.camera->y < slots.screen->y ? *slots.screen : *slots.camera;
    places.dividerY = (upper.maxY() + lower.y) / 2 * k;
  }
  return places;
}

QPointF movedBubble(QPointF start, QSizeF translation, double bubbleSize, QSizeF screen) {
  const double h = std::clamp(bubbleSize, 0.0, 1.0) * 0.5;  // keeps the clamp bounds ordered
  const double x = start.x() + translation.width() / screen.width();
  const double y = start.y() + translation.height() / screen.height();
  return {std::clamp(x, h, 1 - h), std::clamp(y, h * kBubbleHeightShare, 1 - h * kBubbleHeightShare)};
}

double pinchedBubble(double start, double magnification) {
  return std::clamp(start * magnification, kSmallestBubble, kLargestBubble);
}

double movedDivider(const LayoutFields& fields, double dy, double screenHeight) {
  const double d = dy / screenHeight / splitSpan(fields.style);
  // The ratio is the screen's share; the divider follows the pointer whichever half is on top.
  const double ratio = fields.cameraOnTop ? fields.splitRatio - d : fields.splitRatio + d;
  return std::clamp(ratio, kSmallestRatio, kLargestRatio);
}

}  // namespace vorn::LayoutHandles
