// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/SpectralResidual.h"
#include "engine/Suggest.h"

#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

#include <algorithm>

namespace vorn {
namespace {

// A half-size screenshot of a page of even text lines with one coloured badge on it.
QImage pageWithBadge(QPoint badge) {
  QImage shot(960, 540, QImage::Format_RGB32);
  shot.fill(QColor(245, 245, 245));
  QPainter painter(&shot);
  for (int y = 20; y < shot.height(); y += 14)
    for (int x = 20; x < shot.width() - 40; x += 36) painter.fillRect(x, y, 30, 6, QColor(90, 90, 90));
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor(230, 40, 40));
  painter.drawEllipse(badge, 28, 28);
  return shot;
}

TEST(SaliencyTest, theMapIsSmallAndScaledToOne) {
  const QImage gray = pageWithBadge({300, 200}).convertToFormat(QImage::Format_Grayscale8);
  const cv::Mat image(gray.height(), gray.width(), CV_8UC1, const_cast<uchar*>(gray.constBits()),
                      size_t(gray.bytesPerLine()));
  const cv::Mat map = spectralResidual(image);
  EXPECT_EQ(map.type(), CV_32F);
  EXPECT_EQ(map.size(), cv::Size(64, 64));
  double lowest = 0, highest = 0;
  cv::minMaxLoc(map, &lowest, &highest);
  EXPECT_GE(lowest, 0);
  EXPECT_NEAR(highest, 1, 1e-6);
}

TEST(SaliencyTest, theStrongestRegionIsTheBadgeWhereverItIs) {
  for (const QPoint badge : {QPoint(700, 150), QPoint(200, 420)}) {
    const std::vector<Suggest::Salient> regions = Suggest::salientRegions(pageWithBadge(badge), Size{1920, 1080});
    ASSERT_FALSE(regions.empty());
    const auto strongest = std::max_element(regions.begin(), regions.end(),
                                            [](const auto& a, const auto& b) { return a.confidence < b.confidence; });
    // Display points are twice the screenshot's pixels.
    const Rect& box = strongest->box;
    const double x = badge.x() * 2, y = badge.y() * 2;
    EXPECT_TRUE(x >= box.x && x <= box.x + box.width && y >= box.y && y <= box.y + box.height)
        << "badge at " << x << "," << y << ", strongest region " << box.x << "," << box.y << " " << box.width
        << "×" << box.height;
  }
}

}  // namespace
}  // namespace vorn
