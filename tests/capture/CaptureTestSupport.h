#pragma once

#include <QImage>
#include <chrono>
#include <cstring>
#include <functional>
#include <thread>

#include "render/FrameBuffer.h"

namespace vorn::test {

// Waits for something another thread does; false when it hasn't happened by the deadline
// (which is generous: it only keeps a broken test from hanging).
inline bool eventually(const std::function<bool()>& happened, double seconds = 20) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!happened()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

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
