// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>

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

// Runs the GUI thread's event loop until `happened` (for work that reports back through it), or
// gives up after `seconds`.
inline bool within(double seconds, const std::function<bool()>& happened) {
  QElapsedTimer clock;
  clock.start();
  while (!happened()) {
    if (clock.elapsed() > seconds * 1000) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  }
  return true;
}

}  // namespace vorn::test
