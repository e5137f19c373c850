// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"

#include <cstdint>
#include <random>
#include <vector>

namespace vorn::bench {

// Synthetic screen content for the recorder benchmarks: a window of text-like lines that
// scrolls by a few pixels per frame between static title and status bars, and a moving
// cursor. Painting a frame is one copy per row, like a compositor's output.
class ScreenLikeFrames {
 public:
  ScreenLikeFrames(int width, int height) : width_(width), height_(height) {
    document_.assign(std::size_t(width) * documentRows, 0xfff4f4f4u);
    std::mt19937 random(11);
    for (int line = 0; line * 24 + 24 < documentRows; ++line) {
      int x = 40;
      while (x < width - 80) {
        const int word = 12 + int(random() % 60);
        for (int y = line * 24 + 6; y < line * 24 + 18; ++y)
          for (int i = x; i < x + word && i < width - 40; ++i)
            if ((random() & 3) != 0) document_[std::size_t(y) * width + i] = 0xff202020u + (random() & 0x3f);
        x += word + 10;
      }
    }
  }

  void paint(FrameBuffer& frame, int index) const {
    const int scroll = (index * 3) % (documentRows - height_);
    for (int y = 0; y < frame.height(); ++y) {
      auto* row = reinterpret_cast<std::uint32_t*>(frame.row(y));
      if (y < 120 || y >= height_ - 160) {
        std::fill(row, row + width_, y < 120 ? 0xff2b3a55u : 0xff3c3c3cu);
      } else {
        const std::uint32_t* source = &document_[std::size_t(y + scroll) * width_];
        std::copy(source, source + width_, row);
      }
    }
    const int cursorX = 100 + (index * 7) % (width_ - 200);
    const int cursorY = 300 + (index * 5) % (height_ - 600);
    for (int y = cursorY; y < cursorY + 24; ++y) {
      auto* row = reinterpret_cast<std::uint32_t*>(frame.row(y));
      for (int x = cursorX; x < cursorX + (y - cursorY) / 2 + 1; ++x) row[x] = 0xff000000u;
    }
  }

 private:
  static constexpr int documentRows = 6000;
  int width_, height_;
  std::vector<std::uint32_t> document_;
};

}  // namespace vorn::bench
