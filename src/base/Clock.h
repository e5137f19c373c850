#pragma once

#include <chrono>

namespace vorn {

// Media time: seconds on the monotonic host clock (CLOCK_MONOTONIC). Every capture
// timestamp, animation and movie time in Vorn is on this one clock.
inline double mediaTime() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace vorn
