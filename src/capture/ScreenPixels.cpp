// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/ScreenPixels.h"

#include <QPainter>
#include <QPen>

#include <algorithm>
#include <cstring>
#include <libyuv/scale_argb.h>

namespace vorn {

void makeOpaque(uint8_t* pixels, int stride, int width, int height) {
  for (int y = 0; y < height; ++y) {
    auto* row = reinterpret_cast<uint32_t*>(pixels + static_cast<ptrdiff_t>(y) * stride);
    for (int x = 0; x < width; ++x) row[x] |= 0xff000000u;
  }
}

void convertToFrame(const uint8_t* pixels, int stride, int width, int height, FrameBuffer& out) {
  if (width == out.width() && height == out.height()) {
    // One pass that copies and sets alpha, rather than a copy and a second pass.
    for (int y = 0; y < height; ++y) {
      const auto* from = reinterpret_cast<const uint32_t*>(pixels + static_cast<ptrdiff_t>(y) * stride);
      auto* to = reinterpret_cast<uint32_t*>(out.row(y));
      for (int x = 0; x < width; ++x) to[x] = from[x] | 0xff000000u;
    }
    return;
  }
  libyuv::ARGBScale(pixels, stride, width, height, out.data(), out.stride(), out.width(),
                    out.height(), libyuv::kFilterBox);
  makeOpaque(out.data(), out.stride(), out.width(), out.height());
}

void copyBlock(const uint8_t* from, int fromStride, int fromX, int fromY, uint8_t* to,
               int toStride, int toX, int toY, int width, int height) {
  for (int row = 0; row < height; ++row)
    std::memcpy(to + static_cast<ptrdiff_t>(toY + row) * toStride + toX * 4,
                from + static_cast<ptrdiff_t>(fromY + row) * fromStride + fromX * 4,
                size_t(width) * 4);
}

void blendBlock(const uint8_t* from, int fromStride, uint8_t* to, int toStride, int toX, int toY,
                int width, int height) {
  for (int row = 0; row < height; ++row) {
    const auto* src = reinterpret_cast<const uint32_t*>(from + static_cast<ptrdiff_t>(row) * fromStride);
    auto* dst = reinterpret_cast<uint32_t*>(to + static_cast<ptrdiff_t>(toY + row) * toStride) + toX;
    for (int x = 0; x < width; ++x) {
      const uint32_t s = src[x], keep = 255 - (s >> 24);
      uint32_t out = 0xff000000u;
      for (int shift = 0; shift < 24; shift += 8) {
        const uint32_t channel = ((s >> shift) & 0xff) + (((dst[x] >> shift) & 0xff) * keep + 127) / 255;
        out |= std::min(channel, 255u) << shift;
      }
      dst[x] = out;
    }
  }
}

void clearBlock(uint8_t* pixels, int stride, int x, int y, int width, int height) {
  for (int row = y; row < y + height; ++row) {
    auto* line = reinterpret_cast<uint32_t*>(pixels + static_cast<ptrdiff_t>(row) * stride) + x;
    std::fill(line, line + width, 0xff000000u);
  }
}

void drawCursor(FrameBuffer& frame, const CursorImage& cursor, QPointF position, double scale) {
  if (cursor.image.isNull()) return;
  const QRectF target(position.x() - cursor.hotX * scale, position.y() - cursor.hotY * scale,
                      cursor.image.width() * scale, cursor.image.height() * scale);
  if (!target.intersects(QRectF(0, 0, frame.width(), frame.height()))) return;
  QImage image = frame.image();
  QPainter painter(&image);
  painter.setRenderHint(QPainter::SmoothPixmapTransform, scale != 1.0);
  painter.drawImage(target, cursor.image);
}

void drawClickRing(FrameBuffer& frame, QPointF center, double ageSeconds, double scale) {
  const double progress = std::clamp(ageSeconds / clickRingSeconds, 0.0, 1.0);
  const double radius = (14 + 14 * progress) * scale;
  const double fade = 1.0 - progress;
  QImage image = frame.image();
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setBrush(Qt::NoBrush);
  // A dark halo under a light ring reads on light and dark screens alike.
  painter.setPen(QPen(QColor(0, 0, 0, int(90 * fade)), 6 * scale));
  painter.drawEllipse(center, radius, radius);
  painter.setPen(QPen(QColor(255, 255, 255, int(220 * fade)), 3 * scale));
  painter.drawEllipse(center, radius, radius);
}

}  // namespace vorn
