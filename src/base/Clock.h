// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cmath>

namespace vorn {

// Media time: seconds on the monotonic host clock (CLOCK_MONOTONIC). Every capture
// timestamp, animation and movie time in Vorn is on this one clock.
inline double mediaTime() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// The grid that screen grabs and the render loop keep to: sixty ticks a second counted from
// the clock's epoch, so that every thread keeping it stays in the same phase as the others.
inline constexpr std::chrono::nanoseconds frameTick{16'666'667};

// The first instant after `now` that lies `offset` (less than a tick) past a tick of the grid.
inline std::chrono::steady_clock::time_point nextTick(std::chrono::steady_clock::time_point now,
                                                      std::chrono::nanoseconds offset = {}) {
  const auto sinceTick = (now.time_since_epoch() - offset) % frameTick;
  return now - sinceTick + frameTick;
}

// The media time of the grid's latest tick at or before `time`, shifted by `offset` seconds.
inline double tickBefore(double time, double offset = 0) {
  const double tick = std::chrono::duration<double>(frameTick).count();
  return std::floor((time - offset) / tick) * tick + offset;
}

// Seconds since this process was started by the kernel (before the dynamic loader ran), to
// 10 ms; 0 when /proc cannot say.
double secondsSinceLaunch();

}  // namespace vorn
