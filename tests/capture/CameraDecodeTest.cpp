// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <vector>

#include "capture/CameraDecode.h"

using namespace vorn;

namespace {

std::vector<unsigned char> grayJpeg(int width, int height, unsigned char value) {
  std::vector<unsigned char> pixels(size_t(width) * height * 4, value);
  tjhandle handle = tjInitCompress();
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  tjCompress2(handle, pixels.data(), width, width * 4, height, TJPF_BGRX, &jpeg, &size, TJSAMP_422,
              90, 0);
  std::vector<unsigned char> bytes(jpeg, jpeg + size);
  tjFree(jpeg);
  tjDestroy(handle);
  return bytes;
}

}  // namespace

TEST(CameraDecode, JpegBecomesOpaqueBgra) {
  const auto jpeg = grayJpeg(64, 48, 200);
  FrameBuffer frame(64, 48);
  CameraDecoder decoder;
  ASSERT_TRUE(decoder.decodeJpeg(jpeg.data(), jpeg.size(), frame));
  const std::uint8_t* pixel = frame.row(20) + 30 * 4;
  EXPECT_NEAR(pixel[0], 200, 2);
  EXPECT_NEAR(pixel[2], 200, 2);
  EXPECT_EQ(pixel[3], 255);
}

TEST(CameraDecode, TornOrMismatchedJpegIsSkipped) {
  const auto jpeg = grayJpeg(64, 48, 90);
  CameraDecoder decoder;
  FrameBuffer wrongSize(32, 32);
  EXPECT_FALSE(decoder.decodeJpeg(jpeg.data(), jpeg.size(), wrongSize));
  FrameBuffer frame(64, 48);
  EXPECT_FALSE(decoder.decodeJpeg(jpeg.data(), 10, frame));
  EXPECT_FALSE(decoder.decodeJpeg(jpeg.data(), 0, frame));
}

TEST(CameraDecode, YuyvBecomesBgra) {
  // Y = 235 with neutral chroma is white in studio range.
  std::vector<std::uint8_t> yuyv;
  for (int i = 0; i < 16 * 8 / 2; ++i) yuyv.insert(yuyv.end(), {235, 128, 235, 128});
  FrameBuffer frame(16, 8);
  ASSERT_TRUE(CameraDecoder::convertYuyv(yuyv.data(), yuyv.size(), 32, frame));
  EXPECT_GE(frame.row(4)[8 * 4 + 1], 250);
  EXPECT_FALSE(CameraDecoder::convertYuyv(yuyv.data(), yuyv.size() - 1, 32, frame));
}

TEST(CameraDecode, Nv12BecomesBgra) {
  std::vector<std::uint8_t> nv12(16 * 8, 16);  // black luma
  nv12.resize(16 * 8 * 3 / 2, 128);
  FrameBuffer frame(16, 8);
  ASSERT_TRUE(CameraDecoder::convertNv12(nv12.data(), nv12.size(), 16, frame));
  EXPECT_LE(frame.row(2)[5 * 4], 5);
  EXPECT_EQ(frame.row(2)[5 * 4 + 3], 255);
  EXPECT_FALSE(CameraDecoder::convertNv12(nv12.data(), 16 * 8, 16, frame));
}
