#include "render/RenderTimer.h"

#include <pthread.h>

namespace vorn {

RenderTimer::RenderTimer(std::string threadName, std::function<void()> tick)
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
  const auto period = std::chrono::nanoseconds(periodNanoseconds);
  auto deadline = Clock::now() + period;
  while (!stop.stop_requested()) {
    {
      std::unique_lock lock(mutex_);
      // Wakes early only to stop.
      wake_.wait_until(lock, stop, deadline, [] { return false; });
      if (stop.stop_requested()) return;
    }
    tick_();
    deadline += period;
    const auto now = Clock::now();
    if (deadline <= now) {
      // A long tick: skip to the next deadline on the grid instead of catching up.
      const auto behind = (now - deadline) / period + 1;
      skipped_ += behind;
      deadline += behind * period;
    }
  }
}

}  // namespace vorn
