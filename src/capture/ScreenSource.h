// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/Locked.h"
#include "base/Rect.h"
#include "base/SerialQueue.h"
#include "capture/CaptureRequest.h"
#include "capture/OwnClient.h"
#include "capture/Pointer.h"
#include "capture/ScreenBackend.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace vorn {

// One captured screen buffer, the part of the display it shows (points, origin top-left) and
// the media time the screen showed it.
struct ScreenFrame {
  ConstFrameRef buffer;
  Rect rect;
  double at = 0;
};

// Captures one display and keeps the newest frame ready for the render loop. The render loop
// asks for just the area it needs (`request`); the source reconfigures the running capture to
// that area and size. Each frame comes with the configuration it was grabbed with, so it
// always shows the area it says, however many changes are in flight.
class ScreenSource {
 public:
  static constexpr double unansweredSeconds = 1.0;

  explicit ScreenSource(std::unique_ptr<ScreenBackend> backend);
  ScreenSource(const ScreenSource&) = delete;
  ScreenSource& operator=(const ScreenSource&) = delete;
  ~ScreenSource();

  // The displays the backend can capture now; never waits for a capture starting.
  std::vector<DisplayInfo> displays();
  // After displays() came back empty: one sentence saying why, where the backend can tell.
  std::optional<std::string> unavailable() const;
  // One picture of `display` at `scale` of its pixel size; a null image when it cannot be had.
  // Slow: call it off the GUI thread.
  QImage screenshot(const DisplayInfo& display, double scale);

  // Starts capturing the display `displayID` (the first display when it no longer exists).
  // Blocks until the capture runs; throws std::runtime_error with one sentence on failure.
  void start(uint32_t displayID);
  // Stops the capture if one runs; `latest` keeps the last frame.
  void stop();
  // Asks for a new capture area in display points; returns at once. Dropped while another
  // change is in flight: the caller asks again later if it still needs the area. A change
  // left unanswered for `unansweredSeconds` (a grab that stopped producing frames) no longer
  // holds the next one back.
  void request(Rect rect, bool native);

  Size displaySize() const { return displaySize_.get(); }
  double nativeScale() const { return nativeScale_.load(); }
  // The id of the display being captured (0 before the first start).
  uint32_t displayID() const { return displayID_.load(); }
  // Whose windows are left out of every frame; set before start.
  void leaveOut(OwnClient own) { own_ = own; }
  // Whether the running capture leaves them out (else they must keep out of its area).
  bool leavesOutOwnWindows() const { return leavesOut_.load(); }

  // Newest complete frame (written on "vorn.screen", read by the render loop).
  Locked<std::optional<ScreenFrame>> latest;
  // `latest`, stamped with the last time the screen was seen still showing it, but no later
  // than `notAfter` unless the frame itself is newer.
  std::optional<ScreenFrame> current(
      double notAfter = std::numeric_limits<double>::infinity()) const;
  // Waits until the grab made for the grid tick `tick` has answered (with a picture or with
  // nothing new), or until the media time `deadline`; false if it has not by then.
  bool waitForGrab(double tick, double deadline) const;
  // Where the pointer was at the last grab, when the backend sees it.
  Locked<std::optional<PointerState>> pointer;
  // The capture area in force (written on "vorn.screen.config" after a successful change).
  Locked<std::optional<CaptureRequest>> requested;
  // Told, on a capture thread, why the stream stopped by itself (the display went away…);
  // set before start.
  std::function<void(const std::string&)> onStopped;
  // Told, on a capture thread, why the screen's picture has not been read for a while (the
  // capture goes on trying); once until a picture comes again. Set before start.
  std::function<void(const std::string&)> onFailing;

 private:
  void startOnConfigQueue(uint32_t displayID);
  void reconfigure(Rect rect, bool native);
  // One area change handed to the backend.
  struct Change {
    Rect area;
    int width;
    int height;
    bool native;
    uint64_t generation;
    uint64_t serial;
  };
  void finishReconfigure(std::optional<std::string> error, const Change& change);
  void handleFrame(FrameRef buffer, const ScreenConfig& grabbed, double at);
  void countFrame(const FrameBuffer& buffer);
  void answered(double at);

  // "vorn.screen" only.
  int count_ = 0;
  double since_;

  // Shared, each copied under its own lock.
  Locked<bool> pending_{false};
  std::atomic<double> pendingSince_{0};  // media time the change in flight was asked for
  std::atomic<double> unchangedAt_{0};   // the last grab that found nothing new
  mutable std::mutex grabMutex_;
  mutable std::condition_variable grabbed_;
  double answeredAt_ = 0;  // the tick of the last grab that answered, under grabMutex_
  Locked<Size> displaySize_;
  std::atomic<double> nativeScale_{2.0};
  std::atomic<uint32_t> displayID_{0};
  std::atomic<bool> leavesOut_{true};

  // "vorn.screen.config" only.
  std::unique_ptr<ScreenBackend> backend_;
  bool running_ = false;
  OwnClient own_;
  ScreenConfig config_;
  uint64_t generation_ = 0;  // counts starts
  uint64_t serial_ = 0;      // counts changes: only the newest one's answer counts
  SerialQueue configQueue_{"vorn.screen.config"};  // last: drains before the fields go
};

}  // namespace vorn
