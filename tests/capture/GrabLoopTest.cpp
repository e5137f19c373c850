// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Eventually.h"
#include "base/Locked.h"
#include "capture/GrabLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace vorn {
namespace {

using test::eventually;

// Delivers a frame only when asked to (a change), fails 13-pixel-wide areas, and holds back
// frames, runs out of buffers, fails its reads or loses the display on request.
class ScriptedGrabber : public Grabber {
 public:
  Result grab(const ScreenConfig& config, bool changed) override {
    if (lose.load()) return Result::lostWith("The display went away.");
    if (hold.load()) return {};
    if (busy.load()) return Result::skip();
    if (refuse.load()) return Result::skip("The server refused the picture.");
    if (config.width == 13) return Result::unsupported("The capture area lies outside the display.");
    if (!changed) return {};
    return Result::of(std::make_shared<FrameBuffer>(config.width, config.height));
  }
  std::atomic<bool> lose{false};
  std::atomic<bool> hold{false};  // never delivers
  std::atomic<bool> busy{false};
  std::atomic<bool> refuse{false};
};

struct Outcome {
  std::atomic<bool> done{false};
  Locked<std::optional<std::string>> error;
  ScreenBackend::Completion completion() {
    return [this](std::optional<std::string> why) {
      error.set(std::move(why));
      done.store(true);
    };
  }
};

class GrabLoopTest : public testing::Test {
 protected:
  GrabLoopTest() {
    sinks.onFrame = [this](FrameRef frame, const ScreenConfig&, double) { lastWidth.store(frame->width()); };
    sinks.onStopped = [this](const std::string& why) { stopped.set(why); };
    sinks.onUnchanged = [this](double) { ++unchanged; };
    sinks.onFailing = [this](const std::string& why) {
      failing.set(why);
      ++failings;
    };
  }
  ScriptedGrabber grabber;
  ScreenSinks sinks;
  std::atomic<int> lastWidth{0};
  Locked<std::string> stopped;
  std::atomic<int> unchanged{0}, failings{0};
  Locked<std::string> failing;
};

TEST_F(GrabLoopTest, AChangeCompletesOnceItsFirstFrameIsOut) {
  GrabLoop loop(grabber, {Rect{0, 0, 100, 100}, 100, 100}, sinks);
  Outcome outcome;
  loop.update({Rect{0, 0, 50, 50}, 50, 50}, outcome.completion());
  ASSERT_TRUE(eventually([&] { return outcome.done.load(); }));
  EXPECT_FALSE(outcome.error.get().has_value());
  EXPECT_EQ(lastWidth.load(), 50);
}

TEST_F(GrabLoopTest, AnAreaThatCannotBeCapturedFailsAndTheLastGoodOneReturns) {
  GrabLoop loop(grabber, {Rect{0, 0, 100, 100}, 100, 100}, sinks);
  ASSERT_TRUE(eventually([&] { return lastWidth.load() == 100; }));
  lastWidth.store(0);
  Outcome outcome;
  loop.update({Rect{0, 0, 13, 13}, 13, 13}, outcome.completion());
  ASSERT_TRUE(eventually([&] { return outcome.done.load(); }));
  EXPECT_EQ(outcome.error.get(), "The capture area lies outside the display.");
  EXPECT_TRUE(eventually([&] { return lastWidth.load() == 100; }));
}

TEST_F(GrabLoopTest, ALostDisplayStopsTheCaptureAndFailsLaterChanges) {
  GrabLoop loop(grabber, {Rect{0, 0, 100, 100}, 100, 100}, sinks);
  grabber.lose.store(true);
  ASSERT_TRUE(eventually([&] { return !stopped.get().empty(); }));
  EXPECT_EQ(stopped.get(), "The display went away.");
  Outcome outcome;
  loop.update({Rect{0, 0, 50, 50}, 50, 50}, outcome.completion());
  EXPECT_TRUE(outcome.done.load());
  EXPECT_TRUE(outcome.error.get().has_value());
}

TEST_F(GrabLoopTest, StoppingFailsAChangeNotYetInForce) {
  Outcome outcome;
  grabber.hold.store(true);
  {
    GrabLoop loop(grabber, {Rect{0, 0, 100, 100}, 100, 100}, sinks);
    loop.update({Rect{0, 0, 50, 50}, 50, 50}, outcome.completion());
  }
  EXPECT_TRUE(outcome.done.load());
  EXPECT_EQ(outcome.error.get(), "The capture stopped.");
}

// A tick that could not look at the screen never re-stamps the last picture as still shown;
// reads that keep failing are told once, and again only after a picture came through.
TEST_F(GrabLoopTest, SkippedTicksAreNeverUnchangedAndFailingReadsAreToldOnce) {
  GrabLoop loop(grabber, {Rect{0, 0, 100, 100}, 100, 100}, sinks);
  ASSERT_TRUE(eventually([&] { return unchanged.load() > 0; })) << "a still screen is seen unchanged";
  grabber.busy.store(true);
  const int afterBusy = unchanged.load() + 1;  // a look already under way may still answer
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // some twenty busy ticks
  grabber.refuse.store(true);
  grabber.busy.store(false);
  ASSERT_TRUE(eventually([&] { return failings.load() == 1; }));
  EXPECT_EQ(failing.get(), "The server refused the picture.");
  EXPECT_LE(unchanged.load(), afterBusy);
  const auto told = std::chrono::steady_clock::now();
  EXPECT_FALSE(eventually([&] { return failings.load() > 1; }, 1.5));
  EXPECT_GE(std::chrono::steady_clock::now() - told, std::chrono::milliseconds(1500));

  grabber.refuse.store(false);
  Outcome outcome;
  loop.update({Rect{0, 0, 50, 50}, 50, 50}, outcome.completion());
  ASSERT_TRUE(eventually([&] { return lastWidth.load() == 50; }));
  grabber.refuse.store(true);
  EXPECT_TRUE(eventually([&] { return failings.load() == 2; })) << "told again after a picture came";
}

}  // namespace
}  // namespace vorn
