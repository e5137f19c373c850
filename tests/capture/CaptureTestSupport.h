// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QPainter>
#include <chrono>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "base/FrameBuffer.h"
#include "capture/SampleCamera.h"
#include "support/Eventually.h"

namespace vorn::test {

// The picture drawn into a new frame buffer of the given size (its own size when 0).
inline FrameRef frameFromImage(const QImage& image, int width = 0, int height = 0) {
  QImage source = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
  if (width > 0)
    source = source.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
  auto frame = std::make_shared<FrameBuffer>(source.width(), source.height());
  for (int y = 0; y < source.height(); ++y)
    std::memcpy(frame->row(y), source.constScanLine(y), size_t(source.width()) * 4);
  return frame;
}

// The face box of the sample portrait (SampleCamera::builtInPath, 512 × 512), in its pixels.
inline const QRectF sampleFaceBox(176, 65, 96, 97);

struct DrawnFace {
  QPointF centre;  // in pixels of a 1920 × 1080 picture
  double width;    // of the face, in pixels
};

// A 1920 × 1080 camera picture of a plain wall with the sample portrait drawn so that each of
// its faces has the given centre and width.
inline QImage cameraPictureWithFaces(const std::vector<DrawnFace>& faces) {
  static const QImage sample(SampleCamera::builtInPath);
  QImage picture(1920, 1080, QImage::Format_ARGB32_Premultiplied);
  picture.fill(QColor(90, 80, 70));
  QPainter painter(&picture);
  for (const DrawnFace& face : faces) {
    const double scale = face.width / sampleFaceBox.width();
    painter.drawImage(QRectF(face.centre.x() - sampleFaceBox.center().x() * scale,
                             face.centre.y() - sampleFaceBox.center().y() * scale, 512 * scale,
                             512 * scale),
                      sample);
  }
  return picture;
}

}  // namespace vorn::test
