// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Locked.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace vorn {
namespace {

TEST(Locked, testAndSetLetsExactlyOneThreadWin) {
  Locked<bool> busy(false);
  std::atomic<int> winners{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&] {
      if (busy.testAndSet(false, true)) ++winners;
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(winners.load(), 1);
  EXPECT_TRUE(busy.get());
  EXPECT_TRUE(busy.exchange(false));
  EXPECT_FALSE(busy.get());
}

TEST(Locked, replacedValuesAreDestroyedOutsideTheLock) {
  // The destructor reads the same Locked: it would deadlock if run under the lock.
  struct Probe {
    Locked<std::shared_ptr<Probe>>* owner = nullptr;
    ~Probe() {
      if (owner) (void)owner->get();
    }
  };
  Locked<std::shared_ptr<Probe>> slot;
  auto probe = std::make_shared<Probe>();
  probe->owner = &slot;
  slot.set(std::move(probe));
  slot.set(nullptr);
  slot.set(std::make_shared<Probe>());
  SUCCEED();
}

TEST(Locked, readersAlwaysSeeWholeValues) {
  struct Pair {
    long a = 0, b = 0;
  };
  Locked<Pair> shared;
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (long i = 1; i <= 200000; ++i) shared.set({i, -i});
    done = true;
  });
  long torn = 0;
  while (!done) {
    const Pair p = shared.get();
    if (p.a != -p.b) ++torn;
  }
  writer.join();
  EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace vorn
