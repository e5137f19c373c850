// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <QImage>

#include <optional>
#include <vector>

namespace vorn::Suggest {

// A region of a screenshot that draws the eye, in display points, with its strength.
struct Salient {
  Rect box;
  double confidence = 0;
};

// The eye-catching regions of `shot` (any size; a screenshot of the display), in the points
// of a display of `displaySize`: the spectral-residual saliency map, thresholded into
// connected regions whose confidence is their mean saliency. Given `within` (display points),
// only that part of the display is looked at: a window's own edges against the desktop
// would otherwise outshine what is inside it.
std::vector<Salient> salientRegions(const QImage& shot, Size displaySize,
                                    std::optional<Rect> within = std::nullopt);

// A frame of `aspect` (width ÷ height) over the most eye-catching part of the frontmost of
// `windows` (display points, front to back).
Rect frame(const std::vector<Rect>& windows, const std::vector<Salient>& objects, Size display,
           double aspect, double idealHeight, std::optional<Point> cursor);

}  // namespace vorn::Suggest
