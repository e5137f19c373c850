// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/Yuv709.h"

#include <gtest/gtest.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

using namespace vorn;

namespace {

struct Planes {
  Planes(int width, int height)
      : width(width), height(height), y(std::size_t(width) * height),
        u(std::size_t((width + 1) / 2) * ((height + 1) / 2)), v(u.size()) {}
  YuvPlanes view() { return {y.data(), width, u.data(), (width + 1) / 2, v.data(), (width + 1) / 2}; }
  int width, height;
  std::vector<std::uint8_t> y, u, v;
};

// libswscale's BT.709 limited-range conversion of the same picture.
Planes reference(const std::vector<std::uint8_t>& bgra, int width, int height) {
  Planes out(width, height);
  SwsContext* context = sws_getContext(width, height, AV_PIX_FMT_BGRA, width, height,
                                       AV_PIX_FMT_YUV420P, SWS_POINT | SWS_ACCURATE_RND, nullptr,
                                       nullptr, nullptr);
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  sws_setColorspaceDetails(context, bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
  const std::uint8_t* source[] = {bgra.data()};
  const int sourceStride[] = {width * 4};
  std::uint8_t* target[] = {out.y.data(), out.u.data(), out.v.data()};
  const int targetStride[] = {width, (width + 1) / 2, (width + 1) / 2};
  sws_scale(context, source, sourceStride, 0, height, target, targetStride);
  sws_freeContext(context);
  return out;
}

int largestDifference(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
  int largest = 0;
  for (std::size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
  return largest;
}

// Gradients and colour blocks; each 2 × 2 block is one colour so every chroma filter agrees.
std::vector<std::uint8_t> testPicture(int width, int height) {
  std::vector<std::uint8_t> bgra(std::size_t(width) * height * 4);
  std::srand(7);
  for (int y = 0; y < height; y += 2)
    for (int x = 0; x < width; x += 2) {
      std::uint8_t b, g, r;
      if ((x / 64 + y / 64) % 3 == 0) {
        b = std::uint8_t(std::rand()), g = std::uint8_t(std::rand()), r = std::uint8_t(std::rand());
      } else {
        b = std::uint8_t(x * 255 / width), g = std::uint8_t(y * 255 / height),
        r = std::uint8_t((x + y) & 0xff);
      }
      for (int dy = 0; dy < 2 && y + dy < height; ++dy)
        for (int dx = 0; dx < 2 && x + dx < width; ++dx) {
          std::uint8_t* p = &bgra[(std::size_t(y + dy) * width + x + dx) * 4];
          p[0] = b, p[1] = g, p[2] = r, p[3] = 255;
        }
    }
  return bgra;
}

void expectCloseToLibswscale(int width, int height) {
  const auto bgra = testPicture(width, height);
  Planes ours(width, height);
  bgraToYuv709(bgra.data(), width * 4, width, height, ours.view());
  const Planes theirs = reference(bgra, width, height);
  SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
  EXPECT_LE(largestDifference(ours.y, theirs.y), 1);
  EXPECT_LE(largestDifference(ours.u, theirs.u), 1);
  EXPECT_LE(largestDifference(ours.v, theirs.v), 1);
}

TEST(Yuv709Test, AFullFrameMatchesLibswscaleWithinOneLevel) { expectCloseToLibswscale(1080, 1920); }

TEST(Yuv709Test, NarrowPicturesAndColumnsPastTheVectorWidthMatchToo) {
  expectCloseToLibswscale(38, 22);
  expectCloseToLibswscale(2, 2);
  expectCloseToLibswscale(18, 6);
}

// libswscale resamples chroma for odd sizes, so an odd picture is checked on its own: its
// last column and row form half blocks that keep their colour.
TEST(Yuv709Test, OddSizesFillEveryPlaneToTheEdge) {
  const int width = 37, height = 21;
  std::vector<std::uint8_t> bgra(std::size_t(width) * height * 4);
  for (std::size_t i = 0; i < bgra.size(); i += 4)
    bgra[i] = 200, bgra[i + 1] = 40, bgra[i + 2] = 90, bgra[i + 3] = 255;
  Planes odd(width, height);
  bgraToYuv709(bgra.data(), width * 4, width, height, odd.view());
  Planes even(2, 2);
  bgraToYuv709(bgra.data(), 8, 2, 2, even.view());
  for (auto y : odd.y) EXPECT_EQ(y, even.y[0]);
  for (auto u : odd.u) EXPECT_EQ(u, even.u[0]);
  for (auto v : odd.v) EXPECT_EQ(v, even.v[0]);
}

TEST(Yuv709Test, BlackAndWhiteLandOnTheLimitedRangeEnds) {
  for (std::uint8_t level : {std::uint8_t(0), std::uint8_t(255)}) {
    std::vector<std::uint8_t> bgra(32 * 2 * 4, level);
    Planes out(32, 2);
    bgraToYuv709(bgra.data(), 32 * 4, 32, 2, out.view());
    for (auto y : out.y) EXPECT_EQ(y, level ? 235 : 16);
    for (auto u : out.u) EXPECT_EQ(u, 128);
    for (auto v : out.v) EXPECT_EQ(v, 128);
  }
}

}  // namespace
