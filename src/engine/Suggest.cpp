// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/Suggest.h"

#include "engine/SpectralResidual.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace vorn::Suggest {
namespace {

// Regions smaller than this share of the picture are noise, not things.
constexpr double kSmallestShare = 0.0005;

// Shifts `r` (not resized) until it lies inside `bounds`, when it fits.
Rect clampInto(Rect r, const Rect& bounds) {
  r.x = std::clamp(r.x, bounds.x, std::max(bounds.x, bounds.x + bounds.width - r.width));
  r.y = std::clamp(r.y, bounds.y, std::max(bounds.y, bounds.y + bounds.height - r.height));
  return r;
}

}  // namespace

std::vector<Salient> salientRegions(const QImage& shot, Size displaySize, std::optional<Rect> within) {
  if (shot.isNull() || displaySize.width <= 0 || displaySize.height <= 0) return {};
  const double toShotX = shot.width() / displaySize.width, toShotY = shot.height() / displaySize.height;
  const Rect area = within ? within->intersected({0, 0, displaySize.width, displaySize.height})
                           : Rect{0, 0, displaySize.width, displaySize.height};
  const QRect crop = QRectF(area.x * toShotX, area.y * toShotY, area.width * toShotX, area.height * toShotY)
                         .toRect()
                         .adjusted(2, 2, -2, -2);
  if (crop.width() < 8 || crop.height() < 8) return {};
  const QImage gray = shot.copy(crop).convertToFormat(QImage::Format_Grayscale8);
  const cv::Mat image(gray.height(), gray.width(), CV_8UC1, const_cast<uchar*>(gray.constBits()),
                      size_t(gray.bytesPerLine()));
  cv::Mat map;
  cv::resize(spectralResidual(image), map, image.size());
  cv::Mat map8, mask, labels, stats, centroids;
  map.convertTo(map8, CV_8U, 255);
  cv::threshold(map8, mask, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  // Close small gaps so that one thing is one region.
  cv::morphologyEx(mask, mask, cv::MORPH_CLOSE, cv::getStructuringElement(cv::MORPH_RECT, {9, 9}));
  const int count = cv::connectedComponentsWithStats(mask, labels, stats, centroids);
  const double sx = 1 / toShotX, sy = 1 / toShotY;
  std::vector<Salient> regions;
  for (int i = 1; i < count; ++i) {
    const int area = stats.at<int>(i, cv::CC_STAT_AREA);
    if (area < kSmallestShare * gray.width() * gray.height()) continue;
    const double confidence = cv::mean(map, labels == i)[0];
    regions.push_back({{(crop.x() + stats.at<int>(i, cv::CC_STAT_LEFT)) * sx,
                        (crop.y() + stats.at<int>(i, cv::CC_STAT_TOP)) * sy,
                        stats.at<int>(i, cv::CC_STAT_WIDTH) * sx, stats.at<int>(i, cv::CC_STAT_HEIGHT) * sy},
                       confidence});
  }
  return regions;
}

Rect frame(const std::vector<Rect>& windows, const std::vector<Salient>& objects, Size display,
           double aspect, double idealHeight, std::optional<Point> cursor) {
  const std::optional<Rect> target = windows.empty() ? std::nullopt : std::optional(windows.front());
  Point centre = target ? Point{target->x + target->width / 2, target->y + target->height / 2}
                        : cursor.value_or(Point{display.width / 2, display.height / 2});

  std::vector<Salient> kept;
  if (target)
    for (const Salient& s : objects)
      if (!s.box.intersected(*target).isEmpty()) kept.push_back(s);
  if (kept.empty()) kept = objects;
  double weight = 0, x = 0, y = 0;
  for (const Salient& s : kept) {
    const double w = s.confidence * s.box.width * s.box.height;
    weight += w;
    x += w * (s.box.x + s.box.width / 2);
    y += w * (s.box.y + s.box.height / 2);
  }
  if (weight > 0) centre = {x / weight, y / weight};

  double h = std::min({idealHeight, 0.94 * display.height, display.width / aspect});
  if (target) h = std::min(h, std::max(360.0, target->height));
  h = std::max(260.0, h);
  const double w = aspect * h;
  Rect r{centre.x - w / 2, centre.y - h / 2, w, h};
  if (target && w <= target->width && h <= target->height) r = clampInto(r, *target);
  return clampInto(r, {0, 0, display.width, display.height});
}

}  // namespace vorn::Suggest
