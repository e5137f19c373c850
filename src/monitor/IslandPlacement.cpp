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

// `from` moved just clear of `keepOut`: above or below it, or beside it at the same height.
std::vector<QRect> around(const QRect& from, const QRect& keepOut) {
  return {from.translated(0, keepOut.top() - from.height() - from.top()),
          from.translated(0, keepOut.bottom() + 1 - from.top()),
          from.translated(keepOut.left() - from.width() - from.left(), 0),
          from.translated(keepOut.right() + 1 - from.left(), 0)};
}

}  // namespace

QRect place(const QRect& usable, QSize size, const std::optional<QRectF>& frame,
            const std::optional<QRect>& monitor) {
  const QRect ideal(usable.left() + (usable.width() - size.width()) / 2, usable.top(), size.width(),
                    size.height());
  std::vector<QRect> keepOut;  // the frame first: it must be kept clear of
  if (frame) keepOut.push_back(frame->toAlignedRect().adjusted(-gap, -gap, gap, gap));
  if (monitor) keepOut.push_back(monitor->adjusted(-gap, -gap, gap, gap));
  const auto clearOf = [&](const QRect& r, size_t count) {
    return std::none_of(keepOut.begin(), keepOut.begin() + std::ptrdiff_t(count),
                        [&](const QRect& k) { return r.intersects(k); });
  };
  if (clearOf(ideal, keepOut.size())) return ideal;
  // Moved clear of one, then, where that lands on the other, clear of that one too.
  std::vector<QRect> candidates{ideal};
  for (const QRect& first : keepOut)
    for (const QRect& once : around(ideal, first)) {
      const QRect inside = clampedInto(once, usable);
      candidates.push_back(inside);
      for (const QRect& second : keepOut)
        if (inside.intersects(second))
          for (const QRect& twice : around(inside, second)) candidates.push_back(clampedInto(twice, usable));
    }
  const auto nearest = [&](size_t count) {
    std::optional<QRect> best;
    for (const QRect& c : candidates)
      if (clearOf(c, count) && (!best || distance(c, ideal) < distance(*best, ideal))) best = c;
    return best;
  };
  if (const auto clear = nearest(keepOut.size())) return *clear;
  if (frame)
    if (const auto clearOfFrame = nearest(1)) return *clearOfFrame;
  return ideal;
}

}  // namespace vorn::IslandPlacement
