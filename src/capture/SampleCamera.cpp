// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/SampleCamera.h"

#include <QImage>

#include "base/Clock.h"
#include "base/Log.h"
#include "base/MovieDecoder.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace vorn {

namespace {

constexpr double imageFps = 30;

// Sleeps until the deadline or a stop request, whichever comes first; true when stopped.
bool sleepUntil(std::stop_token stop, std::chrono::steady_clock::time_point deadline) {
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  wake.wait_until(lock, stop, deadline, [] { return false; });
  return stop.stop_requested();
}

// Runs `produce` at `fps` on a thread named "vorn.camera" until stopped; produce returns
// the next frame (null: nothing this tick).
class PacedCamera : public CameraDevice {
 public:
  void start(FrameHandler onFrame) override {
    stop();
    thread_ = std::jthread([this, onFrame = std::move(onFrame)](std::stop_token stop) {
      pthread_setname_np(pthread_self(), "vorn.camera");
      auto next = std::chrono::steady_clock::now();
      while (!stop.stop_requested()) {
        if (FrameRef frame = produce()) onFrame(std::move(frame), mediaTime());
        next += std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(1.0 / fps_));
        // Behind by more than a frame (a slow machine): skip ahead rather than burst.
        const auto now = std::chrono::steady_clock::now();
        if (next < now) next = now;
        if (sleepUntil(stop, next)) break;
      }
    });
  }

  void stop() override {
    if (!thread_.joinable()) return;
    thread_.request_stop();
    thread_.join();
  }

 protected:
  virtual FrameRef produce() = 0;  // camera thread
  double fps_ = imageFps;
  std::jthread thread_;  // derived classes stop it in their destructors
};

class ImageCamera final : public PacedCamera {
 public:
  explicit ImageCamera(const QImage& image) {
    const QImage source = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    frame_ = std::make_shared<FrameBuffer>(source.width(), source.height());
    for (int y = 0; y < source.height(); ++y)
      std::memcpy(frame_->row(y), source.constScanLine(y), size_t(source.width()) * 4);
  }
  ~ImageCamera() override { stop(); }

 private:
  // The picture never changes: every tick hands out the same buffer.
  FrameRef produce() override { return frame_; }
  FrameRef frame_;
};

class MovieCamera final : public PacedCamera {
 public:
  explicit MovieCamera(const std::string& path)
      : decoder_(path), pool_(decoder_.width(), decoder_.height(), 3, 6) {
    fps_ = decoder_.frameRate();
  }
  ~MovieCamera() override { stop(); }

 private:
  FrameRef produce() override {
    if (!decoder_.decodeNext()) return nullptr;
    FrameRef frame = pool_.take();
    if (frame) decoder_.copyTo(*frame);
    return frame;
  }

  MovieDecoder decoder_;  // camera thread only
  FramePool pool_;
};

}  // namespace

namespace SampleCamera {

DeviceInfo info() { return {id, QStringLiteral("Sample Camera")}; }

std::unique_ptr<CameraDevice> open(const QString& path, std::string* error) {
  const QImage image(path);
  if (!image.isNull()) return std::make_unique<ImageCamera>(image);
  try {
    return std::make_unique<MovieCamera>(path.toStdString());
  } catch (const std::exception& failure) {
    *error = "the sample camera " + path.toStdString() + " can't be shown: " + failure.what();
    return nullptr;
  }
}

}  // namespace SampleCamera

}  // namespace vorn
