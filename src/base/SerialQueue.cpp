// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/SerialQueue.h"

#include "base/Log.h"

#include <future>
#include <pthread.h>

namespace vorn {

SerialQueue::SerialQueue(std::string name)
    : name_(std::move(name)), thread_([this](std::stop_token stop) { run(stop); }) {
  pthread_setname_np(thread_.native_handle(), name_.substr(0, 15).c_str());
}

SerialQueue::~SerialQueue() {
  thread_.request_stop();
  wake_.notify_all();
}

void SerialQueue::async(std::function<void()> task) {
  {
    std::lock_guard guard(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_one();
}

void SerialQueue::sync(const std::function<void()>& task) {
  if (isCurrent()) {
    task();
    return;
  }
  std::promise<void> done;
  async([&] {
    try {
      task();
      done.set_value();
    } catch (...) {
      done.set_exception(std::current_exception());
    }
  });
  done.get_future().get();  // a task's exception is the caller's
}

bool SerialQueue::isCurrent() const { return std::this_thread::get_id() == thread_.get_id(); }

void SerialQueue::run(std::stop_token stop) {
  for (;;) {
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, stop, [this] { return !tasks_.empty(); });
      if (tasks_.empty()) return;  // stopped with nothing left to run
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    try {
      task();
    } catch (const std::exception& error) {
      logError(name_ + ": " + error.what());
    } catch (...) {
      logError(name_ + ": unknown failure");
    }
  }
}

}  // namespace vorn
