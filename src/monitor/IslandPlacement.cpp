// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/IslandPlacement.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace vorn::IslandPlacement {
namespace {

QRect clampedInto(QRect r, const QRect& usable) {
  r.moveLeft(std::clamp(r.left(), usable.left(), usable.left() + usable.width() - r.width()));
  r.moveTop(std::clamp(r.top(), usable.top(), usable.top() + usable.height() - r.height()));
  return r;
}

double distance(const QRect& a, const QRect& b) {
  return std::hypot(a.center().x() - b.center().x(), a.top() - b.top());
}

}  // namespace

QRect place(const QRect& usable, QSize size, const std::optional<QRectF>& avoid) {
  const QRect ideal(usable.left() + (usable.width() - size.width()) / 2, usable.top(), size.width(),
                    size.height());
  if (!avoid) return ideal;
  const QRect keepOut = avoid->toAlignedRect().adjusted(-gap, -gap, gap, gap);
  if (!ideal.intersects(keepOut)) return ideal;
  const std::vector<QRect> candidates{
      ideal.translated(0, keepOut.top() - size.height() - ideal.top()),  // above
      ideal.translated(0, keepOut.bottom() + 1 - ideal.top()),            // below
      ideal.translated(keepOut.left() - size.width() - ideal.left(), 0),  // left, at the top
      ideal.translated(keepOut.right() + 1 - ideal.left(), 0),            // right, at the top
  };
  std::optional<QRect> best;
  for (const QRect& candidate : candidates) {
    const QRect inside = clampedInto(candidate, usable);
    if (inside.intersects(keepOut)) continue;
    if (!best || distance(inside, ideal) < distance(*best, ideal)) best = inside;
  }
  return best.value_or(ideal);
}

}  // namespace vorn::IslandPlacement
