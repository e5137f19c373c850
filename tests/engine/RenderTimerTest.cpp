// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/RenderTimer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace vorn {
namespace {

TEST(RenderTimer, ticksOnItsOwnThreadAndStopsPromptly) {
  std::atomic<int> ticks{0};
  std::thread::id tickThread;
  const auto created = std::chrono::steady_clock::now();
  {
    RenderTimer timer("vorn.render", [&](long long) {
      tickThread = std::this_thread::get_id();
      ++ticks;
    });
    while (ticks < 3) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const int atStop = ticks;
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(ticks.load(), atStop) << "no tick after destruction";
  EXPECT_NE(tickThread, std::this_thread::get_id());
  // Three ticks on a 60 Hz grid take at least two periods.
  EXPECT_GE(std::chrono::steady_clock::now() - created, std::chrono::milliseconds(33));
}

TEST(RenderTimer, longTicksSkipDeadlinesInsteadOfQueueing) {
  std::atomic<int> ticks{0};
  std::atomic<long long> toldSkipped{0};
  RenderTimer timer("vorn.render", [&](long long skipped) {
    toldSkipped += skipped;
    if (++ticks == 1) std::this_thread::sleep_for(std::chrono::milliseconds(60));
  });
  while (ticks < 2) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_GE(timer.skippedDeadlines(), 3);
  EXPECT_GE(toldSkipped.load(), 3) << "the tick after a long one hears of the skipped deadlines";
}

}  // namespace
}  // namespace vorn
