// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/FrameBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

namespace vorn {
namespace {

TEST(FrameBuffer, rowsAreAlignedAndTheImageSharesThePixels) {
  FrameBuffer buffer(541, 3);
  EXPECT_EQ(buffer.stride() % FrameBuffer::rowAlignment, 0);
  EXPECT_GE(buffer.stride(), 541 * 4);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % FrameBuffer::rowAlignment, 0u);
  QImage image = buffer.image();
  image.setPixel(2, 1, qRgba(10, 20, 30, 255));
  const std::uint8_t* px = buffer.row(1) + 2 * 4;
  EXPECT_EQ(px[0], 30);  // blue first in memory
  EXPECT_EQ(px[1], 20);
  EXPECT_EQ(px[2], 10);
  EXPECT_EQ(px[3], 255);
}

TEST(FramePool, aReleasedBufferIsReusedWithoutAllocating) {
  FramePool pool(540, 960, 4, 5);
  EXPECT_EQ(pool.allocatedCount(), 4);
  std::vector<FrameRef> held;
  for (int i = 0; i < 4; ++i) held.push_back(pool.take());
  FrameBuffer* first = held.front().get();
  held.erase(held.begin());
  EXPECT_EQ(pool.take().get(), first) << "the dropped buffer went back to the pool";
  EXPECT_EQ(pool.allocatedCount(), 4);
  FrameRef extra = pool.take();
  FrameRef extra2 = pool.take();
  EXPECT_NE(extra2, nullptr) << "an exhausted pool grows up to its bound";
  EXPECT_EQ(pool.allocatedCount(), 5);
  EXPECT_EQ(pool.take(), nullptr) << "and never past it";
}

TEST(FramePool, aBoundedPoolSaysNoWhenFull) {
  FramePool pool(8, 8, 2, 3);
  FrameRef a = pool.take(), b = pool.take(), c = pool.take();
  EXPECT_TRUE(a && b && c);
  EXPECT_EQ(pool.take(), nullptr);
  c.reset();
  EXPECT_NE(pool.take(), nullptr);
}

TEST(FramePool, buffersOutliveTheirPool) {
  FrameRef kept;
  {
    FramePool pool(16, 16, 1, 1);
    kept = pool.take();
  }
  kept->row(15)[63] = 7;
  EXPECT_EQ(kept->row(15)[63], 7);
}

TEST(FramePool, buffersReleasedOnOtherThreadsNeverServeTwoHolders) {
  FramePool pool(64, 64, 4, 6);
  std::atomic<int> overlaps{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> workers;
  for (int w = 0; w < 3; ++w) {
    workers.emplace_back([&, w] {
      for (int i = 0; i < 2000; ++i) {
        FrameRef frame = pool.take();
        if (!frame) continue;
        const std::uint8_t mark = std::uint8_t(w + 1);
        frame->data()[0] = mark;
        std::this_thread::yield();
        if (frame->data()[0] != mark) ++overlaps;
      }
    });
  }
  for (auto& t : workers) t.join();
  stop = true;
  EXPECT_EQ(overlaps.load(), 0);
  EXPECT_LE(pool.allocatedCount(), 6);
}

}  // namespace
}  // namespace vorn
