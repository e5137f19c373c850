#pragma once

#include <QImage>
#include <chrono>
#include <cstring>
#include <functional>
#include <thread>

#include "render/FrameBuffer.h"
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

}  // namespace vorn::test
