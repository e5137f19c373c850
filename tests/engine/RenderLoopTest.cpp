// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Eventually.h"
#include "base/Clock.h"
#include "base/Locked.h"
#include "capture/CameraSource.h"
#include "capture/SampleCamera.h"
#include "capture/SampleScreenBackend.h"
#include "platform/pulse/PulseSoundServer.h"
#include "capture/ScreenSource.h"
#include "engine/RenderLoop.h"
#include "record/Recorder.h"
#include "render/Compositor.h"
#include "support/TestServices.h"

#include <QCoreApplication>
#include <QImage>
#include <gtest/gtest.h>

#include <chrono>
#include <pthread.h>
#include <thread>

namespace vorn {
namespace {

using test::eventually;

// A 1280 × 720 sample display and no camera: the loop's real parts, with no X server.
class RenderLoopTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string picture = test::tempHome()->path() + "/display.png";
    QImage image(1280, 720, QImage::Format_RGB32);
    image.fill(QColor(200, 30, 30));
    ASSERT_TRUE(image.save(QString::fromStdString(picture)));
    screen = std::make_unique<ScreenSource>(std::make_unique<SampleScreenBackend>(picture));
    screen->start(0);
    ASSERT_TRUE(eventually([&] { return screen->latest.get().has_value(); }));
    loop = std::make_unique<RenderLoop>(compositor, *screen, camera);
  }

  RenderInputs framing() const {
    RenderInputs in;
    in.home = {400, 0, 405, 720};
    in.displaySize = screen->displaySize();
    in.slots = Geometry::slots(LayoutFields{});
    return in;
  }

  // Ticks until the capture area settles (the loop asks once for the area around `home`).
  void settle() {
    for (int i = 0; i < 200; ++i) {
      loop->tick();
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  Compositor compositor;
  PulseSoundServer sound;
  CameraSource camera{sound, SampleCamera::builtInPath};
  std::unique_ptr<ScreenSource> screen;
  std::unique_ptr<RenderLoop> loop;
};

TEST_F(RenderLoopTest, aZeroHomeDoesNothing) {
  RenderInputs in = framing();
  in.home = {};
  loop->inputs.set(in);
  const auto before = screen->requested.get();
  for (int i = 0; i < 10; ++i) loop->tick();
  EXPECT_EQ(loop->renderedFrames(), 0);
  EXPECT_EQ(screen->requested.get(), before);
  EXPECT_EQ(loop->live.get(), Rect{});
}

TEST_F(RenderLoopTest, steersTheCaptureToTheAreaAroundHome) {
  loop->inputs.set(framing());
  ASSERT_TRUE(eventually([&] {
    loop->tick();
    const auto r = screen->requested.get();
    return r && r->rect.width < 1280;
  }));
  const Rect area = screen->requested.get()->rect;
  EXPECT_TRUE(area.outsetBy(1, 1).contains(Rect{400, 0, 405, 720}.intersected({0, 0, 1280, 720})));
  EXPECT_EQ(loop->live.get(), (Rect{400, 0, 405, 720}));
}

TEST_F(RenderLoopTest, anUnchangedPreviewIsNotDrawnAgain) {
  loop->inputs.set(framing());
  settle();
  const long settled = loop->renderedFrames();
  EXPECT_GT(settled, 0);
  for (int i = 0; i < 30; ++i) loop->tick();
  EXPECT_EQ(loop->renderedFrames(), settled) << "nothing changed, nothing drawn";

  RenderInputs in = framing();
  in.slots = Geometry::slots([] {
    LayoutFields p;
    p.style = FrameStyle::bleed;
    return p;
  }());
  loop->inputs.set(in);
  loop->tick();
  EXPECT_EQ(loop->renderedFrames(), settled + 1);
  loop->tick();
  EXPECT_EQ(loop->renderedFrames(), settled + 1);
}

TEST_F(RenderLoopTest, onePreviewFrameInFlightAtATime) {
  int shown = 0;
  int width = 0;
  loop->onFrame = [&](ConstFrameRef frame) {
    ++shown;
    width = frame->width();
  };
  RenderInputs in = framing();
  loop->inputs.set(in);
  for (int i = 0; i < 5; ++i) {
    in.mirror = !in.mirror;  // a different frame on every tick
    loop->inputs.set(in);
    loop->tick();
  }
  EXPECT_EQ(loop->renderedFrames(), 5);
  QCoreApplication::processEvents();
  EXPECT_EQ(shown, 1) << "frames drawn while one was pending are not queued";
  EXPECT_EQ(width, 540);
  in.mirror = !in.mirror;
  loop->inputs.set(in);
  loop->tick();
  QCoreApplication::processEvents();
  EXPECT_EQ(shown, 2);
}

TEST_F(RenderLoopTest, recordingAt30fpsWritesEverySecondTickAndAt60EveryTick) {
  for (int fps : {30, 60}) {
    const QString path =
        QString::fromStdString(test::tempHome()->path()) + QStringLiteral("/take-%1.mp4").arg(fps);
    auto recorder = std::make_shared<Recorder>(path, fps, false, false);
    ASSERT_TRUE(recorder->begin(mediaTime()));
    RenderInputs in = framing();
    in.recording = in.live = in.writing = true;
    in.fps = fps;
    loop->inputs.set(in);
    loop->recorder.set(recorder);
    const long before = loop->appendedFrames();
    for (int i = 0; i < 40; ++i) {
      loop->tick();
      std::this_thread::sleep_for(std::chrono::milliseconds(3));  // strictly rising times
    }
    EXPECT_EQ(loop->appendedFrames() - before, fps == 30 ? 20 : 40) << fps << " fps";

    // A pause clears `writing`: frames stop reaching the recorder, the preview goes on.
    in.writing = false;
    loop->inputs.set(in);
    const long paused = loop->appendedFrames();
    for (int i = 0; i < 4; ++i) loop->tick();
    EXPECT_EQ(loop->appendedFrames(), paused);

    loop->recorder.set(nullptr);
    EXPECT_GT(recorder->finish(), 0);
  }
}

// A recorder's destructor joins the take's threads: whoever let go of it last, never in the
// middle of a tick.
TEST_F(RenderLoopTest, aRecorderTakenBackIsNeverDestroyedOnTheRenderThread) {
  const QString path = QString::fromStdString(test::tempHome()->path()) + "/take-released.mp4";
  Locked<std::string> destroyedOn;
  std::shared_ptr<Recorder> recorder(new Recorder(path, 60, false, false), [&](Recorder* r) {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    delete r;
    destroyedOn.set(name);
  });
  ASSERT_TRUE(recorder->begin(mediaTime()));
  RenderInputs in = framing();
  in.recording = in.live = in.writing = true;
  in.fps = 60;
  loop->inputs.set(in);
  loop->recorder.set(recorder);
  loop->start();
  ASSERT_TRUE(eventually([&] { return loop->appendedFrames() > 5; }));
  loop->recorder.set(nullptr);
  recorder->cancel();
  recorder.reset();  // the render thread holds the last reference now
  ASSERT_TRUE(eventually([&] { return !destroyedOn.get().empty(); }));
  EXPECT_EQ(destroyedOn.get(), "vorn.release");
  loop->stop();
}

// With every buffer of the recorder's held, frames are the preview's alone, even a preview as
// large as the take's frames (a device pixel ratio of 3.75 and up once put them in the take).
TEST_F(RenderLoopTest, aFullRecorderPoolSendsNoPreviewFrameIntoTheTake) {
  const QString path = QString::fromStdString(test::tempHome()->path()) + "/take-full-pool.mp4";
  auto recorder = std::make_shared<Recorder>(path, 60, false, false);
  ASSERT_TRUE(recorder->begin(mediaTime()));
  std::vector<FrameRef> held;
  while (FrameRef frame = recorder->pool()->take()) held.push_back(std::move(frame));
  RenderInputs in = framing();
  in.recording = in.live = in.writing = true;
  in.fps = 60;
  in.previewScale = 1.0;
  loop->inputs.set(in);
  loop->recorder.set(recorder);
  const long before = loop->appendedFrames();
  for (int i = 0; i < 6; ++i) loop->tick();
  EXPECT_EQ(loop->appendedFrames(), before);
  loop->recorder.set(nullptr);
  held.clear();
  recorder->finish();
}

TEST_F(RenderLoopTest, theTimerTicksOnItsOwnAndStopRestartsFromHome) {
  loop->inputs.set(framing());
  loop->start();
  ASSERT_TRUE(eventually([&] { return loop->renderedFrames() > 0; }));
  loop->stop();
  EXPECT_EQ(loop->live.get(), (Rect{400, 0, 405, 720}));
}

TEST_F(RenderLoopTest, theSampleCameraReachesTheBubble) {
  camera.configure(SampleCamera::info(), std::nullopt);
  camera.sync();
  ASSERT_TRUE(eventually([&] { return camera.latest.get().buffer != nullptr; }));
  ConstFrameRef shown;
  loop->onFrame = [&](ConstFrameRef frame) { shown = frame; };
  loop->inputs.set(framing());
  ASSERT_TRUE(eventually([&] {
    loop->tick();
    QCoreApplication::processEvents();
    return shown != nullptr;
  }));
  // The bubble's centre (0.24, 0.72 of the canvas) shows the camera, not the red display.
  const QImage image = shown->image();
  const QColor bubble = image.pixelColor(int(0.24 * 540), int(0.72 * 960));
  EXPECT_FALSE(bubble.red() > 150 && bubble.green() < 80) << "the bubble shows the camera";
  const QColor card = image.pixelColor(270, 400);
  EXPECT_GT(card.red(), 150) << "the screen card shows the display";
  camera.stop();
}

}  // namespace
}  // namespace vorn
