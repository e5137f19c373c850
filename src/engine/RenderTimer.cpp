// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/RenderTimer.h"

#include <pthread.h>

#include <utility>

namespace vorn {

RenderTimer::RenderTimer(std::string threadName, std::function<void(long long)> tick)
    : name_(std::move(threadName)),
      tick_(std::move(tick)),
      thread_([this](std::stop_token stop) { run(stop); }) {
  pthread_setname_np(thread_.native_handle(), name_.substr(0, 15).c_str());
}

RenderTimer::~RenderTimer() {
  thread_.request_stop();
  wake_.notify_all();
}

void RenderTimer::run(std::stop_token stop) {
  using Clock = std::chrono::steady_clock;
  const auto period = frameTick;
  auto deadline = nextTick(Clock::now(), offset);
  long long skipped = 0;
  while (!stop.stop_requested()) {
    {
      std::unique_lock lock(mutex_);
      // Wakes early only to stop.
      wake_.wait_until(lock, stop, deadline, [] { return false; });
      if (stop.stop_requested()) return;
    }
    tick_(std::exchange(skipped, 0));
    deadline += period;
    const auto now = Clock::now();
    if (deadline <= now) {
      // A long tick: skip to the next deadline on the grid instead of catching up.
      skipped = (now - deadline) / period + 1;
      skipped_ += skipped;
      deadline += skipped * period;
    }
  }
}

}  // namespace vorn
