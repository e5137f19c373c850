// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/RenderLoop.h"

#include "base/Clock.h"
#include "capture/CameraSource.h"
#include "capture/ScreenSource.h"
#include "engine/CaptureSteering.h"
#include "engine/RenderTimer.h"
#include "record/Recorder.h"
#include "render/Compositor.h"

#include <QCoreApplication>
#include <libyuv/scale_argb.h>
#include <QMetaObject>

#include <algorithm>
#include <cmath>
#include <limits>

namespace vorn {
namespace {

constexpr double kTickSeconds = 1.0 / 60;
// A stall never makes the glides jump.
constexpr double kLongestStep = 0.05;

// When what a frame shows was seen, so that the sound captured then plays with it: the
// screen's grab when the screen is in the frame (the camera then trails by its own delay),
// else the camera's picture, else the tick. A grab older than the frame's own tick (one that
// was not done in time) shows late in the frame of that tick.
double pictureTime(const Slots& slots, const std::optional<ScreenFrame>& screen,
                   double grabTick, const CameraFrame& camera, double now) {
  if (slots.screen && screen) return std::max(screen->at, grabTick);
  if (slots.camera && camera.buffer) return camera.at;
  return tickBefore(now, std::chrono::duration<double>(RenderTimer::offset).count());
}

}  // namespace

RenderLoop::RenderLoop(Compositor& compositor, ScreenSource& screen, CameraSource& camera)
    : compositor_(compositor), screen_(screen), camera_(camera) {}

RenderLoop::~RenderLoop() { stop(); }

void RenderLoop::start() {
  if (timer_) return;
  timer_ = std::make_unique<RenderTimer>("vorn.render", [this](long long skipped) {
    // Skipped deadlines still count as ticks of the 60 Hz clock, so a 30 fps take keeps to
    // its grid after a stall instead of slipping half a frame.
    frame_ += long(skipped);
    tick();
  });
}

void RenderLoop::stop() {
  timer_.reset();  // joins the render thread: no tick runs after this
  last_ = 0;
  cameraMotion_.reset();
  release(std::move(held_));
}

Recorder* RenderLoop::heldRecorder() {
  std::shared_ptr<Recorder> installed = recorder.get();
  if (installed != held_) {
    release(std::move(held_));
    held_ = std::move(installed);
  }
  return held_.get();
}

void RenderLoop::release(std::shared_ptr<Recorder> recorder) {
  if (recorder) releases_.async([recorder = std::move(recorder)]() mutable { recorder.reset(); });
}

void RenderLoop::tick() {
  const double now = mediaTime();
  const double previous = std::exchange(last_, now);
  const RenderInputs in = inputs.get();
  if (in.home.width <= 0) return;
  const double dt = previous == 0 ? kTickSeconds : std::min(now - previous, kLongestStep);

  const CameraFrame camera = camera_.latest.get();
  const ConstFrameRef& cameraFrame = camera.buffer;
  stepCamera(dt, now, in);
  stepCrop(dt, now, in, cameraFrame);
  live.set(cameraMotion_.cam());
  steerCapture(in);
  ++frame_;

  Recorder* const held = heldRecorder();
  Recorder* target = in.writing ? held : nullptr;
  // A 30 fps take uses every second tick of the 60 Hz clock.
  if (target && in.fps < 60 && frame_ % 2 == 1) return;

  const double grabTick = target && in.slots.screen ? awaitGrab(now, in.fps)
                                                    : std::numeric_limits<double>::infinity();
  const std::optional<ScreenFrame> screenFrame = screen_.current(grabTick);
  // A take that shows the screen begins with its first grab, so that every picture of it
  // keeps to the grabs' grid.
  if (target && in.slots.screen && !screenFrame) target = nullptr;
  const FrameBuffer* screenBuffer = screenFrame ? screenFrame->buffer.get() : nullptr;
  if (!target) {
    const Signature signature{screenBuffer, cameraFrame.get(), cameraMotion_.cam(),
                              cropMotion_.crop(), in.slots, in.mirror};
    if (lastSignature_ == signature) return;  // nothing changed, nothing to draw
    lastSignature_ = signature;
  } else {
    lastSignature_.reset();
  }

  FrameRef buffer = target ? target->pool()->take() : nullptr;
  // Only a buffer the recorder handed out goes into the take; with none to spare, the frame is
  // the preview's alone (the take counts the gap as a dropped frame).
  const bool forTake = buffer != nullptr;
  if (!buffer) buffer = compositor_.previewBuffer(in.previewScale);
  if (!buffer) return;

  const double scale = buffer->width() / Geometry::canvasWidth;
  const FrameScene scene{in.slots, cameraMotion_.cam(), screenFrame ? screenFrame->rect : Rect{},
                         cropMotion_.crop(), in.mirror};
  compositor_.compose(scene, screenBuffer, cameraFrame.get(), scale, *buffer);
  ++rendered_;

  if (forTake) {
    target->appendVideo(buffer, pictureTime(in.slots, screenFrame, grabTick, camera, now));
    ++appended_;
    buffer = previewOf(std::move(buffer), in.previewScale);
  }
  showPreview(std::move(buffer));
}

// A take's frame shows the screen as grabbed at its own tick, which it returns: a grab still
// running when the frame is due (a busy machine) is waited for, up to three quarters of a
// frame, rather than its picture reaching the take a frame late. Stamped with that tick, the
// frames keep to one grid from the first on.
double RenderLoop::awaitGrab(double now, int fps) {
  const double offset = std::chrono::duration<double>(RenderTimer::offset).count();
  const double tick = tickBefore(now, offset) - offset;
  screen_.waitForGrab(tick, tick + 0.75 / std::max(fps, 1));
  return tick;
}

FrameRef RenderLoop::previewOf(FrameRef recorded, double scale) {
  // Shrunk here with SIMD, the recorded frame costs the GUI thread a plain copy instead of a
  // smooth rescale on every paint; skipped while the window still holds the last one.
  if (scale >= 1 || !onFrame || previewPending_.get()) return recorded;
  FrameRef small = compositor_.previewBuffer(scale);
  if (!small) return recorded;
  libyuv::ARGBScale(recorded->data(), recorded->stride(), recorded->width(), recorded->height(),
                    small->data(), small->stride(), small->width(), small->height(),
                    libyuv::kFilterBox);
  return small;
}

void RenderLoop::stepCamera(double dt, double now, const RenderInputs& in) {
  const std::optional<PointerState> pointer =
      in.follow && in.recording ? screen_.pointer.get() : std::nullopt;
  cameraMotion_.step(dt, now, in, pointer);
}

void RenderLoop::stepCrop(double dt, double now, const RenderInputs& in,
                          const ConstFrameRef& cameraFrame) {
  if (!cameraFrame) return;
  cropMotion_.step(dt, now, in.slots, cameraFrame->width(), cameraFrame->height(),
                   camera_.face.get());
}

void RenderLoop::steerCapture(const RenderInputs& in) {
  if (const auto next = ::vorn::steerCapture(in, cameraMotion_.cam(), screen_.requested.get()))
    screen_.request(next->rect, next->native);
}

void RenderLoop::showPreview(ConstFrameRef frame) {
  if (!onFrame || !QCoreApplication::instance()) return;
  // One frame in flight to the GUI thread at most: the preview never queues up.
  if (!previewPending_.testAndSet(false, true)) return;
  QMetaObject::invokeMethod(
      &guiContext_,
      [this, frame] {
        onFrame(frame);
        previewPending_.set(false);
      },
      Qt::QueuedConnection);
}

}  // namespace vorn
