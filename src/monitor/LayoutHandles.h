// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Model.h"

#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include <optional>

namespace vorn {

// Where the phone's handles sit and what dragging them does to the layout preferences. The
// phone view turns gestures into these; every value returned is already clamped into its range.
namespace LayoutHandles {

struct Places {
  std::optional<QRectF> bubble;    // the camera bubble, in the phone screen's points
  std::optional<double> dividerY;  // the split's boundary, in the phone screen's points
};

Places locate(const LayoutFields& fields, QSizeF screen);

// The bubble's centre (fractions of the frame) after a drag of `translation` points from `start`.
QPointF movedBubble(QPointF start, QSizeF translation, double bubbleSize, QSizeF screen);
// The bubble's size after a pinch of `magnification` from `start`.
double pinchedBubble(double start, double magnification);
// The split ratio after the divider was dragged `dy` points down from where `fields` had it.
double movedDivider(const LayoutFields& fields, double dy, double screenHeight);

}  // namespace LayoutHandles
}  // namespace vorn
