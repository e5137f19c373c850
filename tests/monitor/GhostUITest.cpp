// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/PlatformInsets.h"
#include "monitor/GhostUI.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

namespace vorn {
namespace {

// The overlay drawn alone at the output's own size.
QImage overlay(Platform platform, QSize size = {1080, 1920}) {
  QImage image(size, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter p(&image);
  paintGhostUI(p, platform, QSizeF(size));
  return image;
}

TEST(GhostUI, eachPlatformsInterfaceStaysInsideItsOwnMargins) {
  for (const Platform platform : {Platform::reels, Platform::tiktok, Platform::shorts}) {
    const PlatformInsets insets = *platformInsets(platform);
    const QImage image = overlay(platform);
    int inside = 0, outside = 0;
    for (int y = 0; y < image.height(); y += 2)
      for (int x = 0; x < image.width(); x += 2) {
        if (qAlpha(image.pixel(x, y)) == 0) continue;
        const bool margin = y < insets.top || y >= 1920 - insets.bottom || x >= 1080 - insets.right;
        (margin ? inside : outside)++;
      }
    EXPECT_GT(inside, 1000) << rawValue(platform);
    EXPECT_EQ(outside, 0) << rawValue(platform) << ": drawn over the video's safe area";
  }
  const QImage none = overlay(Platform::none);
  EXPECT_EQ(none, [&] {
    QImage empty(none.size(), none.format());
    empty.fill(Qt::transparent);
    return empty;
  }()) << "none draws nothing";
}

TEST(GhostUI, scalesWithThePhone) {
  // At the phone's 288 points every unit is 288 ÷ 1080 of a point: the same picture, smaller.
  const QImage full = overlay(Platform::reels).scaled(288, 512, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
  const QImage phone = overlay(Platform::reels, {288, 512});
  long difference = 0, drawn = 0;
  for (int y = 0; y < 512; ++y)
    for (int x = 0; x < 288; ++x) {
      difference += std::abs(qAlpha(full.pixel(x, y)) - qAlpha(phone.pixel(x, y)));
      drawn += qAlpha(phone.pixel(x, y)) > 0;
    }
  EXPECT_GT(drawn, 500);
  EXPECT_LT(double(difference) / (288 * 512), 8.0) << "mean alpha difference per pixel";
}

}  // namespace
}  // namespace vorn
