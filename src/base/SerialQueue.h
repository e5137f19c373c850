// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace vorn {

// One named thread draining one queue of tasks in order: the "vorn.*" queues. The thread
// sleeps while the queue is empty. Destruction runs the tasks already queued, then joins.
class SerialQueue {
 public:
  // The thread is named `name` (cut to the 15 characters Linux keeps).
  explicit SerialQueue(std::string name);
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;
  ~SerialQueue();

  const std::string& name() const { return name_; }

  // Queues the task and returns at once.
  void async(std::function<void()> task);
  // Queues the task and waits for it; runs it in place when called from this queue. What the
  // task throws is thrown here.
  void sync(const std::function<void()>& task);
  // True on this queue's own thread.
  bool isCurrent() const;

 private:
  void run(std::stop_token stop);

  const std::string name_;
  std::mutex mutex_;  // guards tasks_
  std::condition_variable_any wake_;
  std::deque<std::function<void()>> tasks_;
  std::jthread thread_;  // last: joins before the queue it drains goes away
};

}  // namespace vorn
