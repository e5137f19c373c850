// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/HomeFrame.h"

#include "model/Geometry.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace vorn::HomeFrame {
namespace {

constexpr double kFallbackAspect = 0.5625;
constexpr double kDefaultHeightShare = 0.88;
constexpr double kSnapDistance = 10;
constexpr double kReadableSnap = 14;
constexpr double kSmallestHeight = 220;
constexpr double kGlideRate = 8;

// The smallest correction that brings `low` or `high` onto one of `lines` within the snap
// distance; on a tie the first pair found (low before high, in list order) wins.
std::optional<double> snapCorrection(double low, double high, const std::vector<double>& lines) {
  std::optional<double> best;
  for (const double edge : {low, high})
    for (const double line : lines) {
      const double difference = line - edge;
      if (std::abs(difference) < kSnapDistance && (!best || std::abs(difference) < std::abs(*best)))
        best = difference;
    }
  return best;
}

// A height bounded below by the smallest frame and above by the screen at the aspect.
double boundedHeight(double h, double aspect, Size screen) {
  return std::min({std::max(h, kSmallestHeight), screen.height, screen.width / aspect});
}

}  // namespace

Rect clampedInto(Rect r, Size screen) {
  r.width = std::min(r.width, screen.width);
  r.height = std::min(r.height, screen.height);
  r.x = std::clamp(r.x, 0.0, screen.width - r.width);
  r.y = std::clamp(r.y, 0.0, screen.height - r.height);
  return r;
}

std::vector<double> fractions(const Rect& home, Size screen) {
  if (screen.width <= 0 || screen.height <= 0) return {};
  return {home.x / screen.width, home.y / screen.height, home.width / screen.width,
          home.height / screen.height};
}

SnapEdges snapEdges(Size screen, const std::vector<Rect>& windows) {
  SnapEdges edges{{0, screen.width}, {0, screen.height}};
  for (const Rect& w : windows) {
    edges.xs.insert(edges.xs.end(), {w.x, w.x + w.width});
    edges.ys.insert(edges.ys.end(), {w.y, w.y + w.height});
  }
  return edges;
}

Placed drag(const Rect& proposed, const SnapEdges& edges, Size screen) {
  const auto dx = snapCorrection(proposed.x, proposed.x + proposed.width, edges.xs);
  const auto dy = snapCorrection(proposed.y, proposed.y + proposed.height, edges.ys);
  Rect moved = proposed;
  moved.x += dx.value_or(0);
  moved.y += dy.value_or(0);
  return {clampedInto(moved, screen), dx.has_value() || dy.has_value()};
}

Placed resize(Point anchor, Point toward, double aspect, double idealHeight, Size screen) {
  double h = std::max(std::abs(toward.x - anchor.x) / aspect, std::abs(toward.y - anchor.y));
  h = boundedHeight(h, aspect, screen);
  const bool snapped = std::abs(h - idealHeight) < kReadableSnap && idealHeight <= screen.height;
  if (snapped) h = idealHeight;
  const double w = aspect * h;
  const Rect r{toward.x < anchor.x ? anchor.x - w : anchor.x,
               toward.y < anchor.y ? anchor.y - h : anchor.y, w, h};
  return {clampedInto(r, screen), snapped};
}

Rect scaled(const Rect& home, double factor, double aspect, Size screen) {
  double h = boundedHeight(factor * home.height, aspect, screen);
  if (!std::isfinite(h)) h = home.height;
  return clampedInto(Rect::centered(home.center(), {aspect * h, h}), screen);
}

Rect readable(const Rect& home, double aspect, double idealHeight, Size screen) {
  const double h = std::min(idealHeight, screen.height);
  return clampedInto(Rect::centered(home.center(), {aspect * h, h}), screen);
}

GlideStep glide(const Rect& from, const Rect& to, double dt) {
  const double k = 1 - std::exp(-kGlideRate * std::clamp(dt, 0.001, 0.05));
  const Rect next{from.x + (to.x - from.x) * k, from.y + (to.y - from.y) * k,
                  from.width + (to.width - from.width) * k, from.height + (to.height - from.height) * k};
  const double remaining = std::max({std::abs(to.x - next.x), std::abs(to.y - next.y),
                                     std::abs(to.width - next.width), std::abs(to.height - next.height)});
  if (remaining < 0.5) return {to, true};
  return {next, false};
}

double aspect(const Prefs& prefs) {
  const Slots slots = Geometry::slots(prefs);
  if (!slots.screen || slots.screen->height <= 0) return kFallbackAspect;
  return slots.screen->width / slots.screen->height;
}

double idealHeight(const Prefs& prefs) {
  const Slots slots = Geometry::slots(prefs);
  const double slotWidth = slots.screen ? slots.screen->width : Geometry::canvasWidth;
  return slotWidth * 14 * 0.37222222222222223 / 11.5 / aspect(prefs);
}

Rect restore(const Prefs& prefs, Size screen) {
  const double a = aspect(prefs);
  Rect home;
  if (prefs.home && prefs.home->size() == 4) {
    const std::vector<double>& f = *prefs.home;
    home = {f[0] * screen.width, f[1] * screen.height, f[2] * screen.width, f[3] * screen.height};
  } else {
    const double h = std::min(kDefaultHeightShare * screen.height, idealHeight(prefs));
    home = Rect::centered({screen.width / 2, screen.height / 2}, {h * a, h});
  }
  return fitAspect(home, a, screen);
}

Rect fitAspect(const Rect& home, double aspect, Size screen) {
  if (home.height <= 0 || std::abs(home.width / home.height - aspect) <= 0.002) return home;
  double h = home.height;
  double w = aspect * h;
  if (w > screen.width) {
    h = screen.width / aspect;
    w = aspect * h;
  }
  return clampedInto(Rect::centered(home.center(), {w, h}), screen);
}

}  // namespace vorn::HomeFrame
