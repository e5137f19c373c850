#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace vorn::test {

// Waits for something another thread does; false when it hasn't happened by the deadline
// (which is generous: it only keeps a broken test from hanging).
inline bool eventually(const std::function<bool()>& happened, double seconds = 20) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!happened()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace vorn::test
