#include "capture/OwnWindows.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vorn {
namespace {

bool holds(const OwnWindows::Rects& rects, const Rect& r) {
  return std::find(rects->begin(), rects->end(), r) != rects->end();
}

TEST(OwnWindows, aPlaceLeftStaysOutUntilTheWindowsBehindHaveRepainted) {
  OwnWindows own;
  const Rect first{10, 10, 100, 100}, second{300, 10, 100, 100};
  const int id = own.add(first);
  EXPECT_EQ(*own.rects(), std::vector<Rect>{first});

  own.update(id, second);
  const auto moving = own.rects();
  EXPECT_TRUE(holds(moving, second));
  EXPECT_TRUE(holds(moving, first)) << "the old place may still show the window";
  EXPECT_EQ(own.rects(), moving) << "no change, same list";

  ASSERT_TRUE(test::eventually([&] { return own.rects()->size() == 1; }));
  EXPECT_EQ(*own.rects(), std::vector<Rect>{second});

  own.remove(id);
  EXPECT_TRUE(holds(own.rects(), second));
  ASSERT_TRUE(test::eventually([&] { return own.rects()->empty(); }));
}

TEST(OwnWindows, updatesToTheSamePlaceLeaveNothingBehind) {
  OwnWindows own;
  const int a = own.add({0, 0, 10, 10});
  own.add({50, 50, 10, 10});
  own.update(a, {0, 0, 10, 10});
  EXPECT_EQ(own.rects()->size(), 2u);
  own.update(12345, {1, 1, 1, 1});  // an unknown id changes nothing
  EXPECT_EQ(own.rects()->size(), 2u);
}

}  // namespace
}  // namespace vorn
