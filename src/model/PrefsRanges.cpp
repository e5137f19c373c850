// SPDX-License-Identifier: GPL-3.0-or-later
// What each preference may hold: a saved value outside it falls back, field by field, the way
// an unreadable record falls back as a whole.
#include "model/Prefs.h"

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

// The ranges the controls keep these in: the divider's travel and the bubble's pinch.
constexpr double lowestSplit = 0.34, highestSplit = 0.72;
constexpr double smallestBubble = 0.18, largestBubble = 0.5;
// The bubble's radius in height units of the 9 : 16 frame, per unit of its size.
constexpr double bubbleHeightPerWidth = 0.5625;
// A capture frame narrower or lower than this share of the screen frames nothing.
constexpr double smallestHomeShare = 0.01;

bool within(double value, double lowest, double highest) {
  return std::isfinite(value) && value >= lowest && value <= highest;
}

// A position is kept inside its bounds; only a value that is no number at all falls back.
double inside(double value, double lowest, double highest, double fallback) {
  return std::clamp(std::isfinite(value) ? value : fallback, lowest, highest);
}

bool framesTheScreen(const std::vector<double>& home) {
  if (home.size() != 4) return false;
  const double x = home[0], y = home[1], width = home[2], height = home[3];
  constexpr double slack = 1e-9;
  return within(x, 0, 1) && within(y, 0, 1) && within(width, smallestHomeShare, 1) &&
         within(height, smallestHomeShare, 1) && x + width <= 1 + slack && y + height <= 1 + slack;
}

}  // namespace

Prefs Prefs::withinRanges() const {
  const Prefs defaults;
  Prefs p = *this;
  if (p.fps != 30 && p.fps != 60) p.fps = defaults.fps;
  if (!within(p.splitRatio, lowestSplit, highestSplit)) p.splitRatio = defaults.splitRatio;
  if (!within(p.bubbleSize, smallestBubble, largestBubble)) p.bubbleSize = defaults.bubbleSize;
  // The bubble stays whole inside the frame, as dragging it does.
  const double radius = p.bubbleSize / 2;
  p.bubbleX = inside(p.bubbleX, radius, 1 - radius, defaults.bubbleX);
  p.bubbleY = inside(p.bubbleY, radius * bubbleHeightPerWidth, 1 - radius * bubbleHeightPerWidth,
                     defaults.bubbleY);
  if (!within(p.prompterSpeed, PrompterPace::pointsPerSecond(PrompterPace::slowest),
              PrompterPace::pointsPerSecond(PrompterPace::fastest)))
    p.prompterSpeed = defaults.prompterSpeed;
  if (p.home && !framesTheScreen(*p.home)) p.home.reset();
  return p;
}

}  // namespace vorn
