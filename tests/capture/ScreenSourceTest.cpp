// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Eventually.h"
#include "capture/ScreenSource.h"
#include "base/Clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace vorn {
namespace {

// What the scripted backend saw; shared with the test because the source owns the backend.
struct Script {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<DisplayInfo> displays{{7, "Main", Rect{0, 0, 1920, 1080}, 1.0}};
  std::optional<DisplayInfo> started;
  ScreenConfig startConfig;
  ScreenSinks sinks;
  std::vector<std::pair<ScreenConfig, ScreenBackend::Completion>> updates;
  bool stopped = false;

  size_t updateCount() {
    std::lock_guard guard(mutex);
    return updates.size();
  }
  ScreenConfig update(size_t index) {
    std::lock_guard guard(mutex);
    return updates.at(index).first;
  }
  void complete(size_t index, std::optional<std::string> error = std::nullopt) {
    ScreenBackend::Completion done;
    {
      std::lock_guard guard(mutex);
      done = updates.at(index).second;
    }
    done(std::move(error));
  }
};

class ScriptedBackend : public ScreenBackend {
 public:
  explicit ScriptedBackend(std::shared_ptr<Script> script) : script_(std::move(script)) {}
  std::vector<DisplayInfo> displays() override {
    std::lock_guard guard(script_->mutex);
    return script_->displays;
  }
  void start(const DisplayInfo& display, const ScreenConfig& config,
             OwnClient, ScreenSinks sinks) override {
    std::lock_guard guard(script_->mutex);
    script_->started = display;
    script_->startConfig = config;
    script_->sinks = std::move(sinks);
  }
  void stop() override {
    std::lock_guard guard(script_->mutex);
    script_->stopped = true;
  }
  bool leavesOutOwnWindows() const override { return true; }
  void update(const ScreenConfig& config, Completion done) override {
    {
      std::lock_guard guard(script_->mutex);
      script_->updates.emplace_back(config, std::move(done));
    }
    script_->changed.notify_all();
  }
  QImage screenshot(const DisplayInfo&) override { return {}; }

 private:
  std::shared_ptr<Script> script_;
};

// Waits for work handed to another thread; the limit only keeps a broken build from hanging.
using test::eventually;

class ScreenSourceTest : public testing::Test {
 protected:
  void SetUp() override { source.start(7); }

  // Asks for an area and waits until the backend was asked to change.
  ScreenConfig ask(Rect rect, bool native = false) {
    const size_t before = script->updateCount();
    EXPECT_TRUE(eventually([&] {
      source.request(rect, native);
      return script->updateCount() > before;
    }));
    return script->update(script->updateCount() - 1);
  }
  // Completes the newest change successfully and waits until it is in force.
  void succeed() {
    const size_t index = script->updateCount() - 1;
    const ScreenConfig config = script->update(index);
    script->complete(index);
    ASSERT_TRUE(eventually([&] {
      const auto now = source.requested.get();
      return now && now->rect == config.sourceRect;
    }));
  }
  // Delivers a frame grabbed with `config` as the backend would.
  void deliver(const ScreenConfig& config) {
    script->sinks.onFrame(std::make_shared<FrameBuffer>(config.width, config.height), config, mediaTime());
  }

  std::shared_ptr<Script> script = std::make_shared<Script>();
  ScreenSource source{std::make_unique<ScriptedBackend>(script)};
};

TEST_F(ScreenSourceTest, StartsOnTheWholeDisplayAtOnePixelPerPoint) {
  EXPECT_EQ(script->startConfig.sourceRect, (Rect{0, 0, 1920, 1080}));
  EXPECT_EQ(script->startConfig.width, 1920);
  EXPECT_EQ(script->startConfig.height, 1080);
  EXPECT_EQ(source.requested.get(), (CaptureRequest{Rect{0, 0, 1920, 1080}, false}));
  EXPECT_EQ(source.displaySize(), (Size{1920, 1080}));
  EXPECT_EQ(source.displayID(), 7u);
}

TEST_F(ScreenSourceTest, AnAreaThatSnapsPastTheBottomIsShiftedBackInside) {
  // At 1.4 pixels per point, 500 points snap to 700 pixels = 500.00000000000006 points.
  source.stop();
  script->displays = {{3, "Wide", Rect{0, 0, 1000, 500}, 1.4}};
  source.start(3);
  const ScreenConfig next = ask({10, 0, 200, 500}, true);
  EXPECT_EQ(next.height, 700);
  EXPECT_EQ(next.width, 280);
  const double snapped = 700 / 1.4;
  ASSERT_GT(snapped, 500.0);
  EXPECT_EQ(next.sourceRect.y, 500 - snapped);
  EXPECT_EQ(next.sourceRect.height, snapped);
}

TEST_F(ScreenSourceTest, ARequestReachingOutsideIsCutToTheDisplay) {
  const ScreenConfig next = ask({1800, 1000, 400, 300});
  EXPECT_EQ(next.sourceRect, (Rect{1800, 1000, 120, 80}));
  EXPECT_EQ(next.width, 120);
  EXPECT_EQ(next.height, 80);
}

TEST_F(ScreenSourceTest, RequestsWhileAChangeIsInFlightAreDropped) {
  ask({0, 0, 800, 600});
  source.request({0, 0, 640, 480}, false);
  source.request({0, 0, 320, 240}, false);
  succeed();
  const ScreenConfig next = ask({0, 0, 1000, 500});
  EXPECT_EQ(script->updateCount(), 2u);
  EXPECT_EQ(next.width, 1000);
}

TEST_F(ScreenSourceTest, AFailedChangeLeavesTheAreaAndSizeInForce) {
  ask({100, 100, 1280, 720});
  succeed();
  ask({0, 0, 1000, 500});
  script->complete(script->updateCount() - 1, "The capture area lies outside the display.");
  const ScreenConfig next = ask({0, 0, 1280, 720});
  EXPECT_EQ(next.width, 1280) << "an area the size of the one in force is asked for as it is";
  EXPECT_EQ(source.requested.get(), (CaptureRequest{Rect{100, 100, 1280, 720}, false}));
}

TEST_F(ScreenSourceTest, EachFrameShowsTheAreaItWasGrabbedWithWhileAChangeIsInFlight) {
  const ScreenConfig first = ask({100, 50, 640, 360});
  succeed();
  const ScreenConfig second = ask({700, 400, 640, 360});  // the same size elsewhere
  deliver(first);
  EXPECT_EQ(source.latest.get()->rect, (Rect{100, 50, 640, 360}));
  deliver(second);
  EXPECT_EQ(source.latest.get()->rect, (Rect{700, 400, 640, 360}));
}

TEST_F(ScreenSourceTest, RequestsBeforeStartAreIgnored) {
  ScreenSource idle{std::make_unique<ScriptedBackend>(std::make_shared<Script>())};
  idle.request({0, 0, 100, 100}, false);
  EXPECT_FALSE(idle.requested.get().has_value());
}

TEST_F(ScreenSourceTest, AChangeCompletedAfterARestartIsNotInForce) {
  ask({0, 0, 800, 600});
  source.start(7);
  script->complete(0);
  // The restart's whole display stays in force; the next request goes through.
  const ScreenConfig next = ask({0, 0, 800, 600});
  EXPECT_EQ(next.width, 800);
  EXPECT_EQ(source.requested.get(), (CaptureRequest{Rect{0, 0, 1920, 1080}, false}));
}

TEST_F(ScreenSourceTest, AChangeNeverAnsweredHoldsTheNextOneBackOnlyBriefly) {
  ask({0, 0, 800, 600});  // the grab has stopped: no answer comes
  const auto asked = std::chrono::steady_clock::now();
  const ScreenConfig next = ask({0, 0, 640, 480});
  EXPECT_GE(std::chrono::steady_clock::now() - asked, std::chrono::milliseconds(900));
  EXPECT_EQ(next.width, 640);
  script->complete(1);
  ASSERT_TRUE(eventually([&] { return source.requested.get()->rect.width == 640; }));
  script->complete(0);  // the first answer, late: overtaken
  source.stop();        // runs after that answer on the same queue
  EXPECT_EQ(source.requested.get()->rect.width, 640);
}

TEST(ScreenSourceStart, AVanishedDisplayCapturesTheFirstOne) {
  auto script = std::make_shared<Script>();
  script->displays = {{5, "Left", Rect{0, 0, 1280, 800}, 1.0}, {6, "Right", Rect{1280, 0, 1920, 1080}, 1.0}};
  ScreenSource source{std::make_unique<ScriptedBackend>(script)};
  source.start(99);
  EXPECT_EQ(script->started->id, 5u);
  EXPECT_EQ(source.displayID(), 5u);
  EXPECT_EQ(source.displaySize(), (Size{1280, 800}));
}

TEST(ScreenSourceStart, PicksTheRequestedDisplay) {
  auto script = std::make_shared<Script>();
  script->displays = {{5, "Left", Rect{0, 0, 1280, 800}, 1.0}, {6, "Right", Rect{1280, 0, 1920, 1080}, 1.0}};
  ScreenSource source{std::make_unique<ScriptedBackend>(script)};
  source.start(6);
  EXPECT_EQ(script->started->id, 6u);
}

TEST(ScreenSourceStart, NoDisplayAtAllFails) {
  auto script = std::make_shared<Script>();
  script->displays.clear();
  ScreenSource source{std::make_unique<ScriptedBackend>(script)};
  try {
    source.start(1);
    FAIL() << "started without a display";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "No display to capture");
  }
  EXPECT_FALSE(script->started.has_value());
}

}  // namespace
}  // namespace vorn
