// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/ScreenBackend.h"

#include <memory>

namespace vorn {

class Grabber;
class GrabLoop;

// What a paced backend runs: its grabber and the loop that drives it. The loop stops before
// the grabber goes.
class RunningGrab {
 public:
  RunningGrab();
  ~RunningGrab();
  RunningGrab(const RunningGrab&) = delete;
  RunningGrab& operator=(const RunningGrab&) = delete;

  // Stops what runs, then drives `grabber` with `config`.
  void start(std::unique_ptr<Grabber> grabber, const ScreenConfig& config, ScreenSinks sinks);
  void stop();
  // Hands the change to the loop; fails at once when nothing runs.
  void update(const ScreenConfig& config, ScreenBackend::Completion done);

 private:
  std::unique_ptr<Grabber> grabber_;
  std::unique_ptr<GrabLoop> loop_;  // after grabber_: it goes first
};

}  // namespace vorn
