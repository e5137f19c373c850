// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/ScreenBackend.h"

#include <condition_variable>
#include <functional>
#include <mutex>
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
  };
  // Called once per tick. `changed` is true on the first tick and after every configuration
  // change: the grabber must then deliver a frame even if the screen did not change. Returns
  // no frame when the area shows nothing new since the last one. Never throws.
  virtual Result grab(const ScreenConfig& config, bool changed) = 0;
};

// The "vorn.screen" thread of a paced backend: a grab on each tick of the shared 60 Hz grid
// (a missed tick is skipped, not made up), a configuration change taking effect on the
// next tick, and its completion reported once the first frame of it has been delivered. A
// configuration the grabber cannot capture fails its update and the last good one returns.
class GrabLoop {
 public:
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

  Grabber& grabber_;
  const ScreenSinks sinks_;
  ScreenConfig config_;  // loop thread only after construction
  ScreenConfig good_;    // loop thread only: the last configuration that delivered a frame

  std::mutex mutex_;  // guards updates_ and ended_
  std::condition_variable_any wake_;
  std::vector<Update> updates_;
  bool ended_ = false;  // the capture was lost: updates fail at once
  std::jthread thread_;  // last: joins before the fields it uses go
};

}  // namespace vorn
