// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/ScreenScale.h"

#include <cmath>
#include <mutex>
#include <optional>

namespace vorn::ScreenScale {
namespace {

std::mutex mutex;
std::vector<Display> published;

Rect pixelsOf(const Display& d) {
  return {d.points.x, d.points.y, d.points.width * d.scale, d.points.height * d.scale};
}

std::optional<Display> displayAt(Point pixel) {
  std::lock_guard lock(mutex);
  for (const Display& d : published)
    if (pixelsOf(d).contains(pixel)) return d;
  return std::nullopt;
}

}  // namespace

void publish(std::vector<Display> displays) {
  std::lock_guard lock(mutex);
  published = std::move(displays);
}

double scaleAt(Point pixel) {
  const auto d = displayAt(pixel);
  return d ? d->scale : 1.0;
}

Point toPoints(Point pixel) {
  const auto d = displayAt(pixel);
  if (!d) return pixel;
  const double x0 = d->points.x, y0 = d->points.y;
  return {x0 + (pixel.x - x0) / d->scale, y0 + (pixel.y - y0) / d->scale};
}

Rect toPoints(const Rect& pixels) {
  const auto d = displayAt({pixels.x, pixels.y});
  const double scale = d ? d->scale : 1.0;
  const Point origin = toPoints(Point{pixels.x, pixels.y});
  return {origin.x, origin.y, pixels.width / scale, pixels.height / scale};
}

PixelRect displayPixels(const Rect& points, double scale) {
  return {int(std::lround(points.x)), int(std::lround(points.y)), int(std::lround(points.width * scale)),
          int(std::lround(points.height * scale))};
}

}  // namespace vorn::ScreenScale
