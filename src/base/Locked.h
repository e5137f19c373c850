// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <mutex>
#include <utility>

namespace vorn {

// A value shared between threads. The lock is held only to copy the value in or out
// (or for a test-and-set), never while computing with it. A replaced value is
// destroyed after the lock is released, so releasing a pooled frame never runs
// under this lock.
template <class T>
class Locked {
 public:
  Locked() = default;
  explicit Locked(T initial) : value_(std::move(initial)) {}
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

  T get() const {
    std::lock_guard guard(mutex_);
    return value_;
  }

  void set(T next) {
    {
      std::lock_guard guard(mutex_);
      std::swap(value_, next);
    }
  }

  // Stores `next` and returns the previous value.
  T exchange(T next) {
    {
      std::lock_guard guard(mutex_);
      std::swap(value_, next);
    }
    return next;
  }

  // Stores `desired` only if the value equals `expected`; true when it did.
  bool testAndSet(const T& expected, T desired) {
    {
      std::lock_guard guard(mutex_);
      if (!(value_ == expected)) return false;
      std::swap(value_, desired);
    }
    return true;
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};

}  // namespace vorn
