// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace vorn {

// One picture in memory: BGRA, premultiplied alpha, rows aligned to 64 bytes. Frames are
// handed between threads by reference (FrameRef) and never copied.
class FrameBuffer {
 public:
  static constexpr int rowAlignment = 64;

  FrameBuffer(int width, int height);
  FrameBuffer(const FrameBuffer&) = delete;
  FrameBuffer& operator=(const FrameBuffer&) = delete;

  int width() const { return width_; }
  int height() const { return height_; }
  // Bytes from one row to the next.
  int stride() const { return stride_; }
  std::uint8_t* data() { return pixels_.get(); }
  const std::uint8_t* data() const { return pixels_.get(); }
  std::uint8_t* row(int y) { return data() + static_cast<std::ptrdiff_t>(y) * stride_; }
  const std::uint8_t* row(int y) const { return data() + static_cast<std::ptrdiff_t>(y) * stride_; }

  // A QImage over these very pixels (ARGB32 premultiplied is BGRA in memory); valid while
  // this buffer lives.
  QImage image();
  QImage image() const;

 private:
  struct Free {
    void operator()(std::uint8_t* p) const;
  };
  int width_;
  int height_;
  int stride_;
  std::unique_ptr<std::uint8_t[], Free> pixels_;
};

using FrameRef = std::shared_ptr<FrameBuffer>;
// A frame once published to other threads: readers can never draw on a buffer that a
// recorder or a preview still holds.
using ConstFrameRef = std::shared_ptr<const FrameBuffer>;

// A set of same-sized buffers that are reused. A buffer is free again as soon as the last
// reference outside the pool drops, on whichever thread that happens; taking a free buffer
// allocates nothing.
class FramePool {
 public:
  // Starts with minimumCount buffers and never holds more than maximumCount (≥ minimumCount):
  // a consumer that falls behind costs dropped frames, never unbounded memory.
  FramePool(int width, int height, int minimumCount, int maximumCount);

  int width() const { return width_; }
  int height() const { return height_; }

  // A free buffer, or a new one while the pool is under its maximum; null when it is full.
  FrameRef take();
  int allocatedCount() const;

 private:
  const int width_;
  const int height_;
  const int maximumCount_;
  mutable std::mutex mutex_;  // guards buffers_
  // The pool keeps one reference to each buffer; a use count of one means "free".
  std::vector<FrameRef> buffers_;
};

}  // namespace vorn
