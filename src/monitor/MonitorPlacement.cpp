// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/MonitorPlacement.h"

#include "monitor/MonitorLayout.h"

#include <algorithm>

namespace vorn::MonitorPlacement {
namespace {

bool usable(const std::optional<QRect>& placed, const QRect& visible) {
  return placed && placed->intersects(visible);
}

QRect clampedInto(QRect r, const QRect& v) {
  r.moveLeft(std::max(v.left(), std::min(v.left() + v.width() - r.width(), r.left())));
  r.moveTop(std::max(v.top(), std::min(v.top() + v.height() - r.height(), r.top())));
  return r;
}

// Where the user left the window, at `size`.
QRect replaced(const QRect& placed, QSize size, const QRect& visible) {
  return placed.size() == size ? placed : clampedInto(QRect(placed.topLeft(), size), visible);
}

}  // namespace

QSize fullSizeOn(const QRect& visible) {
  const int shortest = MonitorLayout::height(MonitorLayout::smallestPhone);
  return {fullSize.width(), std::clamp(visible.height(), shortest, fullSize.height())};
}

QRect full(const std::optional<QRect>& placed, const QRect& visible, const QRectF& avoid,
           bool keepOff) {
  const QSize size = fullSizeOn(visible);
  if (usable(placed, visible) && !(keepOff && QRectF(*placed).intersects(avoid)))
    return replaced(*placed, size, visible);
  const int w = size.width(), h = size.height();
  const int x = avoid.center().x() < visible.center().x() ? visible.left() + visible.width() - w - 12
                                                           : visible.left() + 12;
  // Centred; on a screen too short for it, its top stays on the screen.
  const int y = std::max(visible.top(), std::min(visible.top() + visible.height() - h,
                                                  visible.top() + visible.height() / 2 - h / 2));
  return {x, y, w, h};
}

QRect form(bool compact, const QRect& current, const std::optional<QRect>& placed, const QRect& visible) {
  const int centre = current.left() + current.width() / 2;
  QRect next;
  if (compact)
    next = QRect(centre - compactSize.width() / 2, current.top() + 24, compactSize.width(), compactSize.height());
  else if (usable(placed, visible))
    return replaced(*placed, fullSizeOn(visible), visible);
  else
    next = QRect(QPoint(centre - fullSize.width() / 2, current.top() - 24), fullSizeOn(visible));
  return clampedInto(next, visible);
}

}  // namespace vorn::MonitorPlacement
