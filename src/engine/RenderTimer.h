// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Clock.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace vorn {

// A dedicated thread that calls `tick` on the shared 60 Hz grid, half a tick after each screen
// grab: it sleeps until the next deadline, and deadlines missed while a tick ran long are
// skipped, never queued. Each call is told how many deadlines were skipped just before it.
class RenderTimer {
 public:
  // How long after each grab the timer ticks: the grab of the same tick has time to finish.
  static constexpr std::chrono::nanoseconds offset = frameTick / 2;

  RenderTimer(std::string threadName, std::function<void(long long skipped)> tick);
  RenderTimer(const RenderTimer&) = delete;
  RenderTimer& operator=(const RenderTimer&) = delete;
  // Stops the thread; a running tick finishes first.
  ~RenderTimer();

  long long skippedDeadlines() const { return skipped_.load(); }

 private:
  void run(std::stop_token stop);

  const std::string name_;
  const std::function<void(long long)> tick_;
  std::atomic<long long> skipped_{0};
  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::jthread thread_;  // last: joins before the members it uses go away
};

}  // namespace vorn
