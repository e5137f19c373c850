// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/Locked.h"
#include "base/SerialQueue.h"
#include "engine/CameraMotion.h"
#include "engine/CropMotion.h"
#include "engine/RenderInputs.h"

#include <QObject>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace vorn {

class CameraSource;
class Compositor;
class Recorder;
class RenderTimer;
class ScreenSource;

// The heartbeat of the studio: sixty times a second, on "vorn.render", it moves the virtual
// camera over the screen and the crop of the camera picture, steers the screen capture,
// composes the frame, appends it to the recording and hands it to the preview.
class RenderLoop {
 public:
  // Receives rendered frames on the GUI thread.
  using FrameCallback = std::function<void(ConstFrameRef)>;

  // Cursor follow reads the pointer the screen source saw. Nothing starts yet.
  RenderLoop(Compositor& compositor, ScreenSource& screen, CameraSource& camera);
  ~RenderLoop();
  RenderLoop(const RenderLoop&) = delete;
  RenderLoop& operator=(const RenderLoop&) = delete;

  // Starts the 60 Hz render thread if it is not running.
  void start();
  // Stops it; the next start snaps the camera back to `home`.
  void stop();
  // One frame of work. Runs on the render thread; tests call it directly, without start().
  void tick();

  // Written by the engine, read whole by every tick.
  Locked<RenderInputs> inputs;
  // The current virtual camera, published by every tick for the engine and the overlays.
  Locked<Rect> live;
  // The recorder fed while `writing`; installed and taken back by recording control. The
  // render thread never destroys one: what it held is let go on "vorn.release".
  Locked<std::shared_ptr<Recorder>> recorder;
  // Set before start(); called on the GUI thread.
  FrameCallback onFrame;

  // Counters for diagnostics and tests (any thread).
  long renderedFrames() const { return rendered_.load(); }
  long appendedFrames() const { return appended_.load(); }

 private:
  // What a preview frame shows; an equal one need not be drawn again.
  struct Signature {
    const FrameBuffer* screen = nullptr;  // identity of the buffers, never dereferenced
    const FrameBuffer* camera = nullptr;
    Rect cam;
    Rect crop;
    Slots slots;
    bool mirror = false;
    bool operator==(const Signature&) const = default;
  };

  void stepCamera(double dt, double now, const RenderInputs& in);
  void stepCrop(double dt, double now, const RenderInputs& in, const ConstFrameRef& cameraFrame);
  void steerCapture(const RenderInputs& in);
  double awaitGrab(double now, int fps);
  // The preview of a frame composed for the take: a copy at the preview's size.
  FrameRef previewOf(FrameRef recorded, double scale);
  void showPreview(ConstFrameRef frame);
  // The installed recorder, held by the render thread until it sees another installed.
  Recorder* heldRecorder();
  void release(std::shared_ptr<Recorder> recorder);

  Compositor& compositor_;
  ScreenSource& screen_;
  CameraSource& camera_;

  // Render thread only.
  double last_ = 0;  // media time of the previous tick; 0: none
  long frame_ = 0;
  CameraMotion cameraMotion_;
  CropMotion cropMotion_;
  std::optional<Signature> lastSignature_;
  std::shared_ptr<Recorder> held_;

  Locked<bool> previewPending_{false};
  std::atomic<long> rendered_{0};
  std::atomic<long> appended_{0};
  // Queued preview calls run in this object's name; they are dropped once it is gone.
  QObject guiContext_;
  // Where a recorder the loop held is let go: its destructor joins the take's threads.
  SerialQueue releases_{"vorn.release"};
  std::unique_ptr<RenderTimer> timer_;  // GUI thread only; last: stops before the rest goes
};

}  // namespace vorn
