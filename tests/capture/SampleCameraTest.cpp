// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>

#include "capture/CameraDevice.h"
#include "capture/CaptureTestSupport.h"
#include "capture/SampleCamera.h"
#include "capture/V4l2Camera.h"
#include "support/ChildProcess.h"
#include "support/TestServices.h"

using namespace vorn;

namespace {

struct Received {
  std::mutex mutex;
  std::vector<double> stamps;
  int width = 0;
  int height = 0;
};

void collect(CameraDevice& camera, Received& received) {
  camera.start([&](FrameRef frame, double pts) {
    std::lock_guard guard(received.mutex);
    received.stamps.push_back(pts);
    received.width = frame->width();
    received.height = frame->height();
  });
}

int count(Received& received) {
  std::lock_guard guard(received.mutex);
  return int(received.stamps.size());
}

}  // namespace

TEST(SampleCamera, NeverStandsInUnlessAskedForByNameAndThenComesFirst) {
  const std::vector<DeviceInfo> unasked = listCameras(std::nullopt);
  std::string error;
  const bool opened = openCamera(SampleCamera::info(), std::nullopt, &error) != nullptr;
  const std::vector<DeviceInfo> named = listCameras(QStringLiteral("/some/movie.mp4"));

  EXPECT_TRUE(std::none_of(unasked.begin(), unasked.end(),
                           [](const DeviceInfo& c) { return c.id == SampleCamera::id; }));
  EXPECT_FALSE(opened) << "a camera chosen in an earlier run does not bring the face back";
  EXPECT_FALSE(error.empty());
  ASSERT_FALSE(named.empty());
  EXPECT_EQ(named.front(), (DeviceInfo{QStringLiteral("sample"), QStringLiteral("Sample Camera")}));
}

TEST(SampleCamera, ServesTheBuiltInPictureRepeatedly) {
  std::string error;
  auto camera = openCamera(SampleCamera::info(), SampleCamera::builtInPath, &error);
  ASSERT_TRUE(camera) << error;
  Received received;
  collect(*camera, received);
  ASSERT_TRUE(test::eventually([&] { return count(received) >= 3; }));
  camera->stop();
  const int stopped = count(received);
  EXPECT_EQ(received.width, 512);
  EXPECT_EQ(received.height, 512);
  EXPECT_TRUE(std::is_sorted(received.stamps.begin(), received.stamps.end()));
  EXPECT_EQ(count(received), stopped) << "no frame after stop";
}

TEST(SampleCamera, LoopsAMovieAtItsOwnSize) {
  const std::string movie = test::tempHome()->path() + "/sample.mp4";
  ASSERT_EQ(
      test::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                        "testsrc=size=320x240:rate=25", "-t", "0.2", "-pix_fmt", "yuv420p", movie}),
      0);
  std::string error;
  auto camera = SampleCamera::open(QString::fromStdString(movie), &error);
  ASSERT_TRUE(camera) << error;
  Received received;
  collect(*camera, received);
  // Five frames in the file: twelve delivered means it looped.
  ASSERT_TRUE(test::eventually([&] { return count(received) >= 12; }));
  camera.reset();
  EXPECT_EQ(received.width, 320);
  EXPECT_EQ(received.height, 240);
}

TEST(SampleCamera, AFileThatIsNeitherPictureNorMovieIsRefusedInOneSentence) {
  const std::string junk = test::tempHome()->path() + "/junk.bin";
  FILE* file = std::fopen(junk.c_str(), "w");
  std::fputs("not a movie", file);
  std::fclose(file);
  std::string error;
  EXPECT_FALSE(SampleCamera::open(QString::fromStdString(junk), &error));
  EXPECT_NE(error.find("can't be shown"), std::string::npos);
}

TEST(SampleCamera, AnUnknownCameraIsNotOpened) {
  std::string error;
  EXPECT_FALSE(openCamera({QStringLiteral("v4l2:gone"), QStringLiteral("Gone Cam")}, std::nullopt, &error));
  EXPECT_NE(error.find("Gone Cam"), std::string::npos);
}
