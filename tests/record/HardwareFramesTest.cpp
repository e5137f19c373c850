// SPDX-License-Identifier: GPL-3.0-or-later
// Video memory through a device that runs on any machine: Vulkan on Mesa's software driver
// (lavapipe). The encoders' own devices (VAAPI, CUDA) need hardware this machine lacks.
#include "record/HardwareFrames.h"

#include <gtest/gtest.h>

#include <filesystem>

extern "C" {
#include <libavutil/hwcontext.h>
}

using namespace vorn;

namespace {

constexpr int width = 64;
constexpr int height = 48;

// A planar YUV 4:2:0 picture with a different ramp in each plane.
av::Frame rampPicture() {
  av::Frame picture = av::makeFrame();
  picture->format = AV_PIX_FMT_YUV420P;
  picture->width = width;
  picture->height = height;
  EXPECT_GE(av_frame_get_buffer(picture.get(), 64), 0);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) picture->data[0][y * picture->linesize[0] + x] = uint8_t(16 + x + y);
  for (int y = 0; y < height / 2; ++y)
    for (int x = 0; x < width / 2; ++x) {
      picture->data[1][y * picture->linesize[1] + x] = uint8_t(60 + 2 * x);
      picture->data[2][y * picture->linesize[2] + x] = uint8_t(200 - 3 * y);
    }
  picture->pts = 1234;
  picture->colorspace = AVCOL_SPC_BT709;
  picture->color_primaries = AVCOL_PRI_BT709;
  return picture;
}

}  // namespace

TEST(HardwareFrames, APictureGoesUpAsNv12WithItsTimeAndTags) {
  std::string error;
  auto frames = HardwareFrames::open(AV_HWDEVICE_TYPE_VULKAN, AV_PIX_FMT_VULKAN, width, height, error);
  if (!frames) GTEST_SKIP() << "no Vulkan device: " << error;
  const av::Frame picture = rampPicture();
  for (int round = 0; round < 3; ++round) {  // surfaces are reused from the pool
    int code = 0;
    AVFrame* surface = frames->upload(*picture, code);
    ASSERT_NE(surface, nullptr) << av::errorText(code);
    EXPECT_EQ(surface->format, AV_PIX_FMT_VULKAN);
    EXPECT_EQ(surface->pts, 1234);
    EXPECT_EQ(surface->colorspace, AVCOL_SPC_BT709);

    av::Frame back = av::makeFrame();
    back->format = AV_PIX_FMT_NV12;
    ASSERT_GE(av_hwframe_transfer_data(back.get(), surface, 0), 0);
    ASSERT_EQ(back->width, width);
    int wrong = 0;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        wrong += back->data[0][y * back->linesize[0] + x] != picture->data[0][y * picture->linesize[0] + x];
    for (int y = 0; y < height / 2; ++y)
      for (int x = 0; x < width / 2; ++x) {
        const uint8_t* uv = back->data[1] + y * back->linesize[1] + 2 * x;
        wrong += uv[0] != picture->data[1][y * picture->linesize[1] + x];
        wrong += uv[1] != picture->data[2][y * picture->linesize[2] + x];
      }
    EXPECT_EQ(wrong, 0) << "round " << round;
  }
}

TEST(HardwareFrames, AMissingDeviceSaysSo) {
  if (std::filesystem::exists("/dev/dri")) GTEST_SKIP() << "this machine has a render node";
  std::string error;
  EXPECT_EQ(HardwareFrames::open(AV_HWDEVICE_TYPE_VAAPI, AV_PIX_FMT_VAAPI, width, height, error),
            nullptr);
  EXPECT_EQ(error.rfind("no vaapi device", 0), 0u) << error;
}
