// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/FrameBuffer.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace vorn {

void FrameBuffer::Free::operator()(std::uint8_t* p) const { std::free(p); }

FrameBuffer::FrameBuffer(int width, int height)
    : width_(width),
      height_(height),
      stride_((width * 4 + rowAlignment - 1) / rowAlignment * rowAlignment) {
  const size_t bytes = static_cast<size_t>(stride_) * static_cast<size_t>(height_ > 0 ? height_ : 1);
  auto* memory = static_cast<std::uint8_t*>(std::aligned_alloc(rowAlignment, bytes));
  if (!memory) throw std::bad_alloc();
  pixels_.reset(memory);
}

QImage FrameBuffer::image() {
  return QImage(data(), width_, height_, stride_, QImage::Format_ARGB32_Premultiplied);
}

QImage FrameBuffer::image() const {
  return QImage(data(), width_, height_, stride_, QImage::Format_ARGB32_Premultiplied);
}

FramePool::FramePool(int width, int height, int minimumCount, int maximumCount)
    : width_(width), height_(height), maximumCount_(std::max({1, minimumCount, maximumCount})) {
  buffers_.reserve(static_cast<size_t>(maximumCount_));
  for (int i = 0; i < minimumCount; ++i) buffers_.push_back(std::make_shared<FrameBuffer>(width, height));
}

FrameRef FramePool::take() {
  std::lock_guard guard(mutex_);
  for (const FrameRef& buffer : buffers_) {
    if (buffer.use_count() == 1) {
      // Pairs with the release in the last holder's reference drop, so its reads of the
      // pixels happen before our next writes.
      std::atomic_thread_fence(std::memory_order_acquire);
      return buffer;
    }
  }
  if (static_cast<int>(buffers_.size()) >= maximumCount_) return nullptr;
  buffers_.push_back(std::make_shared<FrameBuffer>(width_, height_));
  return buffers_.back();
}

int FramePool::allocatedCount() const {
  std::lock_guard guard(mutex_);
  return static_cast<int>(buffers_.size());
}

}  // namespace vorn
