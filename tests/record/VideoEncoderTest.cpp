// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/VideoEncoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>

using namespace vorn;

namespace {

struct Encoded {
  int packets = 0;
  bool firstIsKey = false;
};

// Three grey frames a thirtieth of a second apart, then the end of the stream.
Encoded encodeThreeFrames(VideoEncoder& encoder) {
  FrameBuffer frame(VideoEncoder::width, VideoEncoder::height);
  std::memset(frame.data(), 0x80, size_t(frame.stride()) * size_t(frame.height()));
  Encoded result;
  const VideoEncoder::PacketSink sink = [&result](AVPacket* packet) {
    if (result.packets++ == 0) result.firstIsKey = packet->flags & AV_PKT_FLAG_KEY;
    return 0;
  };
  for (int i = 0; i < 3; ++i)
    EXPECT_GE(encoder.encode(frame, i, sink), 0);
  EXPECT_GE(encoder.flush(sink), 0);
  return result;
}

}  // namespace

TEST(VideoEncoder, TheChosenEncoderEncodes) {
  VideoEncoder encoder(30);
  EXPECT_FALSE(encoder.name().empty());
  const Encoded encoded = encodeThreeFrames(encoder);
  EXPECT_EQ(encoded.packets, 3);
  EXPECT_TRUE(encoded.firstIsKey);
}

TEST(VideoEncoder, EachHardwareEncoderEncodesOrSaysWhyNot) {
  for (const char* name : {"h264_nvenc", "h264_vaapi"}) {
    try {
      VideoEncoder encoder(30, name);
      EXPECT_EQ(encoder.name(), name);
      EXPECT_EQ(encodeThreeFrames(encoder).packets, 3) << name;
    } catch (const std::runtime_error& error) {
      const std::string reason = error.what();
      EXPECT_NE(reason.find(name), std::string::npos) << reason;
      EXPECT_EQ(reason.back(), '.') << reason;
    }
  }
}

TEST(VideoEncoder, VaapiWithoutAGpuIsAClearErrorAndTheChoiceFallsBack) {
  if (std::filesystem::exists("/dev/dri")) GTEST_SKIP() << "this machine has a GPU";
  try {
    VideoEncoder encoder(30, "h264_vaapi");
    FAIL() << "VAAPI opened without a device";
  } catch (const std::runtime_error& error) {
    const std::string reason = error.what();
    // Either FFmpeg was built without VAAPI or the device is missing.
    EXPECT_TRUE(reason.find("no vaapi device") != std::string::npos ||
                reason.find("has no encoder") != std::string::npos)
        << reason;
  }
  if (std::filesystem::exists("/dev/nvidia0")) return;
  EXPECT_EQ(VideoEncoder(30).name().rfind("libx264", 0), 0u);
}

TEST(VideoEncoder, AnUnknownEncoderIsAClearError) {
  try {
    VideoEncoder encoder(30, "h264_nonexistent");
    FAIL() << "an unknown encoder opened";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "This FFmpeg has no encoder h264_nonexistent.");
  }
}
