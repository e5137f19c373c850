// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/GrabLoop.h"

#include "base/Clock.h"

#include <chrono>
#include <pthread.h>

namespace vorn {

GrabLoop::GrabLoop(Grabber& grabber, const ScreenConfig& config, ScreenSinks sinks)
    : grabber_(grabber),
      sinks_(std::move(sinks)),
      config_(config),
      good_(config),
      thread_([this](std::stop_token stop) { run(stop); }) {
  pthread_setname_np(thread_.native_handle(), "vorn.screen");
  grabber_.wakeOnChange([this] {
    {
      std::lock_guard guard(mutex_);
      changedSource_ = true;
    }
    wake_.notify_all();
  });
}

GrabLoop::~GrabLoop() {
  grabber_.wakeOnChange({});
  thread_.request_stop();
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
  std::vector<Update> left;
  {
    std::lock_guard guard(mutex_);
    left.swap(updates_);
  }
  failUpdates(left, "The capture stopped.");
}

void GrabLoop::update(const ScreenConfig& config, ScreenBackend::Completion done) {
  {
    std::lock_guard guard(mutex_);
    if (!ended_) {
      updates_.push_back({config, std::move(done)});
      return;
    }
  }
  if (done) done("The capture stopped.");
}

void GrabLoop::failUpdates(std::vector<Update>& updates, const std::string& why) {
  for (Update& update : updates)
    if (update.done) update.done(why);
  updates.clear();
}

void GrabLoop::readFailed(const std::string& why, double at) {
  if (!failingSince_) failingSince_ = at;
  if (failingTold_ || at - *failingSince_ < failingSeconds) return;
  failingTold_ = true;
  if (sinks_.onFailing) sinks_.onFailing(why);
}

void GrabLoop::run(std::stop_token stop) {
  std::vector<Update> applied, incoming;
  applied.reserve(8);
  incoming.reserve(8);
  bool changed = true;
  auto deadline = std::chrono::steady_clock::now();
  while (!stop.stop_requested()) {
    {
      std::lock_guard guard(mutex_);
      incoming.swap(updates_);
    }
    if (!incoming.empty()) {
      config_ = incoming.back().config;
      changed = true;
      for (Update& update : incoming) applied.push_back(std::move(update));
      incoming.clear();
    }
    // What a grab shows is stamped with the tick it was made for.
    const double at = tickBefore(mediaTime());
    Grabber::Result result = grabber_.grab(config_, changed);
    if (result.lost) {
      {
        std::lock_guard guard(mutex_);
        ended_ = true;
        incoming.swap(updates_);
      }
      failUpdates(applied, result.error);
      failUpdates(incoming, result.error);
      if (sinks_.onStopped) sinks_.onStopped(result.error);
      return;
    }
    if (!result.error.empty()) {
      failUpdates(applied, result.error);
      config_ = good_;
    } else if (result.frame) {
      sinks_.onFrame(std::move(result.frame), config_, at);
      good_ = config_;
      changed = false;
      failingSince_.reset();
      failingTold_ = false;
    } else if (result.skipped) {
      if (!result.skipped->empty()) readFailed(*result.skipped, at);
    } else if (sinks_.onUnchanged) {
      sinks_.onUnchanged(at);
    }
    // In force once its first frame is out; a tick that could not make one tries again.
    if (!changed) {
      for (Update& update : applied)
        if (update.done) update.done(std::nullopt);
      applied.clear();
    }

    // On the shared grid, so the render loop finds each grab done when it ticks; a deadline
    // missed while grabbing is skipped.
    deadline = nextTick(std::chrono::steady_clock::now());
    std::unique_lock lock(mutex_);
    wake_.wait_until(lock, stop, deadline, [this] { return changedSource_; });
    changedSource_ = false;
  }
  failUpdates(applied, "The capture stopped.");
}

}  // namespace vorn
