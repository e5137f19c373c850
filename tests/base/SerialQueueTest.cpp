// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/SerialQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <pthread.h>
#include <stdexcept>
#include <thread>
#include <vector>

namespace vorn {
namespace {

TEST(SerialQueue, runsTasksInOrderOnItsOwnNamedThread) {
  std::vector<int> order;
  std::string threadName;
  {
    SerialQueue queue("vorn.screen.config");
    for (int i = 0; i < 100; ++i) queue.async([&order, i] { order.push_back(i); });
    queue.sync([&] {
      char name[16] = {};
      pthread_getname_np(pthread_self(), name, sizeof name);
      threadName = name;
      EXPECT_TRUE(queue.isCurrent());
    });
    EXPECT_FALSE(queue.isCurrent());
  }
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[size_t(i)], i);
  EXPECT_EQ(threadName, "vorn.screen.con");
}

TEST(SerialQueue, destructionRunsWhatWasQueuedAndSurvivesThrowingTasks) {
  std::atomic<int> ran{0};
  {
    SerialQueue queue("vorn.test");
    queue.async([] { throw std::runtime_error("boom"); });
    for (int i = 0; i < 50; ++i)
      queue.async([&] {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        ++ran;
      });
  }
  EXPECT_EQ(ran.load(), 50);
}

// A throwing task hands its exception to the caller waiting for it (it used to wait forever),
// and the queue goes on.
TEST(SerialQueue, syncPassesATasksExceptionBack) {
  SerialQueue queue("vorn.test");
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("disk full"); }), std::runtime_error);
  int ran = 0;
  queue.sync([&] { ++ran; });
  EXPECT_EQ(ran, 1);
}

TEST(SerialQueue, syncFromInsideTheQueueRunsInPlace) {
  SerialQueue queue("vorn.test");
  int value = 0;
  queue.sync([&] { queue.sync([&] { value = 7; }); });
  EXPECT_EQ(value, 7);
}

TEST(SerialQueue, manyProducersLoseNothing) {
  std::atomic<int> count{0};
  {
    SerialQueue queue("vorn.test");
    std::vector<std::thread> producers;
    for (int p = 0; p < 4; ++p)
      producers.emplace_back([&] {
        for (int i = 0; i < 5000; ++i) queue.async([&] { ++count; });
      });
    for (auto& t : producers) t.join();
  }
  EXPECT_EQ(count.load(), 20000);
}

}  // namespace
}  // namespace vorn
