// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include "capture/V4l2Camera.h"

using namespace vorn;

TEST(V4l2Mode, theModeNearest1080p30InAFormatWeDecodeIsChosen) {
  constexpr auto mjpeg = V4L2_PIX_FMT_MJPEG;
  constexpr auto yuyv = V4L2_PIX_FMT_YUYV;
  constexpr auto nv12 = V4L2_PIX_FMT_NV12;
  struct Case {
    std::vector<V4l2Mode> offered;
    std::optional<V4l2Mode> chosen;
  };
  const std::vector<Case> cases{
      {{{yuyv, 1920, 1080, 5}, {yuyv, 640, 480, 30}, {mjpeg, 1920, 1080, 30}, {mjpeg, 1920, 1080, 15}},
       V4l2Mode{mjpeg, 1920, 1080, 30}},
      {{{yuyv, 1920, 1080, 5}, {nv12, 1920, 1080, 30}, {yuyv, 1280, 720, 30}},
       V4l2Mode{nv12, 1920, 1080, 30}},
      {{{mjpeg, 1920, 1080, 15}, {yuyv, 1920, 1080, 30}}, V4l2Mode{yuyv, 1920, 1080, 30}},
      {{{mjpeg, 640, 480, 30}, {mjpeg, 1280, 720, 30}, {yuyv, 320, 240, 30}},
       V4l2Mode{mjpeg, 1280, 720, 30}},
      {{{mjpeg, 3840, 2160, 30}, {mjpeg, 1920, 1080, 30}, {mjpeg, 640, 360, 30}},
       V4l2Mode{mjpeg, 1920, 1080, 30}},
      {{{V4L2_PIX_FMT_H264, 1920, 1080, 30}, {V4L2_PIX_FMT_GREY, 640, 480, 30}}, std::nullopt},
      {{}, std::nullopt},
  };
  for (size_t i = 0; i < cases.size(); ++i)
    EXPECT_EQ(chooseV4l2Mode(cases[i].offered), cases[i].chosen) << "case " << i;
}

TEST(V4l2Identity, theByIdNameCarriesTheSerialElseCardAndBusNameTheCamera) {
  EXPECT_EQ(
      v4l2CameraId("usb-Cam_Inc_HD_Webcam_SN123-video-index0", "HD Webcam", "usb-0000:00:14.0-1"),
      QStringLiteral("v4l2:usb-Cam_Inc_HD_Webcam_SN123-video-index0"));
  EXPECT_EQ(v4l2CameraId("", "Integrated Camera", "usb-0000:00:14.0-8"),
            QStringLiteral("v4l2:Integrated Camera@usb-0000:00:14.0-8"));
  for (const V4l2Node& node : listV4l2Cameras()) EXPECT_TRUE(node.info.id.startsWith("v4l2:"));
}
