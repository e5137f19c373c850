// SPDX-License-Identifier: GPL-3.0-or-later
// The event loop and the figures the GUI benches share.
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

namespace vorn::bench {

using Clock = std::chrono::steady_clock;

// Runs the event loop until `happened`, sleeping between events (a timer wakes it every 2 ms
// to look) so that the waiting costs the measurements nothing.
inline bool within(double seconds, const std::function<bool()>& happened) {
  QElapsedTimer clock;
  clock.start();
  QTimer wake;
  wake.start(2);
  while (!happened()) {
    if (clock.elapsed() > seconds * 1000) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return true;
}

inline double ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

inline void printSpread(const char* what, std::vector<double> values) {
  if (values.empty()) return (void)std::printf("%s: no samples\n", what);
  std::sort(values.begin(), values.end());
  std::printf("%s, %zu samples: median %.2f ms, p90 %.2f ms, worst %.2f ms\n", what, values.size(),
              values[values.size() / 2], values[values.size() * 9 / 10], values.back());
}

}  // namespace vorn::bench
