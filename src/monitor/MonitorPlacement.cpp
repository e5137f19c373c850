#include "monitor/MonitorPlacement.h"

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

}  // namespace

QRect full(const std::optional<QRect>& placed, const QRect& visible, const QRectF& avoid,
           bool keepOff) {
  if (usable(placed, visible) && !(keepOff && QRectF(*placed).intersects(avoid))) return *placed;
  const int w = fullSize.width(), h = fullSize.height();
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
    return *placed;
  else
    next = QRect(centre - fullSize.width() / 2, current.top() - 24, fullSize.width(), fullSize.height());
  return clampedInto(next, visible);
}

}  // namespace vorn::MonitorPlacement
