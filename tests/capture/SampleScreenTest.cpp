// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Eventually.h"
#include "capture/SampleScreenBackend.h"
#include "capture/ScreenSource.h"
#include "support/ChildProcess.h"
#include "support/TestServices.h"

#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

namespace vorn {
namespace {

using test::eventually;

QRgb pixel(const FrameBuffer& frame, int x, int y) {
  return reinterpret_cast<const QRgb*>(frame.row(y))[x];
}

// A 640 × 360 picture: red on the left half, blue on the right.
std::string writePicture() {
  const std::string path = test::tempHome()->path() + "/sample.png";
  QImage image(640, 360, QImage::Format_RGB32);
  QPainter painter(&image);
  painter.fillRect(0, 0, 320, 360, QColor(255, 0, 0));
  painter.fillRect(320, 0, 320, 360, QColor(0, 0, 255));
  painter.end();
  image.save(QString::fromStdString(path));
  return path;
}

TEST(SampleScreen, APictureIsServedAsTheDisplay) {
  const std::string path = writePicture();
  ScreenSource source{std::make_unique<SampleScreenBackend>(path)};
  source.start(0);
  EXPECT_EQ(source.displaySize(), (Size{640, 360}));
  ASSERT_TRUE(eventually([&] { return source.latest.get().has_value(); }));
  const ScreenFrame whole = *source.latest.get();
  EXPECT_EQ(whole.rect, (Rect{0, 0, 640, 360}));
  EXPECT_EQ(pixel(*whole.buffer, 10, 10), qRgb(255, 0, 0));
  EXPECT_EQ(pixel(*whole.buffer, 630, 350), qRgb(0, 0, 255));

  source.request({330, 20, 200, 100}, false);
  ASSERT_TRUE(eventually([&] { return source.latest.get()->rect == Rect{330, 20, 200, 100}; }));
  const ScreenFrame part = *source.latest.get();
  EXPECT_EQ(part.buffer->width(), 200);
  EXPECT_EQ(pixel(*part.buffer, 0, 0), qRgb(0, 0, 255));
}

// Not a display's size but a picture's: served at most 3840 wide or high, so that it costs no
// more than a large display does.
TEST(SampleScreen, AHugePictureIsServedScaledDownToADisplaysSize) {
  const std::string path = test::tempHome()->path() + "/huge.png";
  ASSERT_EQ(test::runCommand({"ffmpeg", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                              "color=c=red:size=8000x4000", "-frames:v", "1", path}),
            0);
  ScreenSource source{std::make_unique<SampleScreenBackend>(path)};
  source.start(0);
  EXPECT_EQ(source.displaySize(), (Size{3840, 1920}));
  ASSERT_TRUE(eventually([&] { return source.latest.get().has_value(); }));
  const ScreenFrame whole = *source.latest.get();
  EXPECT_EQ(whole.buffer->width(), 3840);
  EXPECT_EQ(whole.buffer->height(), 1920);
  const QRgb red = pixel(*whole.buffer, 3000, 1500);
  EXPECT_GT(qRed(red), 240);
  EXPECT_LT(qGreen(red) + qBlue(red), 20);
}

TEST(SampleScreen, AMovieKeepsPlayingInALoop) {
  const std::string path = test::tempHome()->path() + "/sample.mp4";
  // Six pictures of a moving pattern.
  ASSERT_EQ(test::runCommand({"ffmpeg", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                              "testsrc2=size=320x240:rate=30", "-frames:v", "6", "-pix_fmt",
                              "yuv420p", path}),
            0);
  ScreenSource source{std::make_unique<SampleScreenBackend>(path)};
  source.start(0);
  EXPECT_EQ(source.displaySize(), (Size{320, 240}));
  int frames = 0;
  ConstFrameRef last;
  // Far more pictures than the file holds: it started over.
  EXPECT_TRUE(eventually([&] {
    const auto frame = source.latest.get();
    if (frame && frame->buffer != last) {
      last = frame->buffer;
      ++frames;
    }
    return frames >= 20;
  }));
}

TEST(SampleScreen, AnUnreadableFileHasNoDisplay) {
  SampleScreenBackend backend("/nonexistent/sample.png");
  EXPECT_TRUE(backend.displays().empty());
  ScreenSource source{std::make_unique<SampleScreenBackend>("/nonexistent/sample.png")};
  EXPECT_THROW(source.start(0), std::runtime_error);
}

}  // namespace
}  // namespace vorn
