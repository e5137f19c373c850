// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/ScreenBackend.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <stop_token>
#include <thread>
#include <vector>

namespace vorn {

// What a paced backend does on each tick of its grab loop.
class Grabber {
 public:
  virtual ~Grabber() = default;
  struct Result {
    // A frame of config.width × config.height pixels, or null when there is nothing new.
    FrameRef frame;
    // One sentence when this configuration cannot be captured.
    std::string error;
    // The capture cannot go on at all (error says why).
    bool lost = false;
    // No picture could be made this tick, so the screen was not seen: every buffer is held
    // downstream (an empty text), or the read failed (one sentence saying why).
    std::optional<std::string> skipped;

    static Result of(FrameRef frame) { return {std::move(frame), {}, false, std::nullopt}; }
    static Result unsupported(std::string why) { return {nullptr, std::move(why), false, std::nullopt}; }
    static Result lostWith(std::string why) { return {nullptr, std::move(why), true, std::nullopt}; }
    static Result skip(std::string why = {}) { return {nullptr, {}, false, std::move(why)}; }
  };
  // Hands the grabber a call that makes the loop grab at once rather than at the next tick,
  // for a source that knows when its picture changed; empty to stop (the loop is going).
  // Once this returns, the call given before is not made again.
  virtual void wakeOnChange(std::function<void()> wake) { (void)wake; }
  // Called once per tick. `changed` is true on the first tick and after every configuration
  // change: the grabber must then deliver a frame even if the screen did not change. Returns
  // no frame when the area shows nothing new since the last one. Never throws.
  virtual Result grab(const ScreenConfig& config, bool changed) = 0;
};

// The "vorn.screen" thread of a paced backend: a grab on each tick of the shared 60 Hz grid
// (a missed tick is skipped, not made up), and at once when the grabber's source says its
// picture changed, so a change is not held back until the next tick; a configuration change
// taking effect on the next tick, and its completion reported once the first frame of it has
// been delivered. A configuration the grabber cannot capture fails its update and the last
// good one returns. Reads that keep failing for `failingSeconds` are told once, until a
// picture comes again.
class GrabLoop {
 public:
  static constexpr double failingSeconds = 1.0;

  GrabLoop(Grabber& grabber, const ScreenConfig& config, ScreenSinks sinks);
  GrabLoop(const GrabLoop&) = delete;
  GrabLoop& operator=(const GrabLoop&) = delete;
  // Stops the thread; updates still waiting complete with an error.
  ~GrabLoop();

  void update(const ScreenConfig& config, ScreenBackend::Completion done);

 private:
  struct Update {
    ScreenConfig config;
    ScreenBackend::Completion done;
  };
  void run(std::stop_token stop);
  void failUpdates(std::vector<Update>& updates, const std::string& why);
  void readFailed(const std::string& why, double at);

  Grabber& grabber_;
  const ScreenSinks sinks_;
  ScreenConfig config_;  // loop thread only after construction
  ScreenConfig good_;    // loop thread only: the last configuration that delivered a frame
  // Loop thread only: since when reads fail, and whether that was told.
  std::optional<double> failingSince_;
  bool failingTold_ = false;

  std::mutex mutex_;  // guards updates_, changedSource_ and ended_
  std::condition_variable_any wake_;
  std::vector<Update> updates_;
  bool changedSource_ = false;  // the source has a new picture: grab without waiting
  bool ended_ = false;  // the capture was lost: updates fail at once
  std::jthread thread_;  // last: joins before the fields it uses go
};

}  // namespace vorn
