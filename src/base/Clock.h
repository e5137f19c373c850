#pragma once

#include <chrono>

namespace vorn {

// Media time: seconds on the monotonic host clock (CLOCK_MONOTONIC). Every capture
// timestamp, animation and movie time in Vorn is on this one clock.
inline double mediaTime() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Seconds since this process was started by the kernel (before the dynamic loader ran), to
// 10 ms; 0 when /proc cannot say.
double secondsSinceLaunch();

}  // namespace vorn
