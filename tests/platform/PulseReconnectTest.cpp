// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/CaptureTestSupport.h"
#include "platform/pulse/PulseAudio.h"
#include "support/TestServices.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace vorn;

namespace {

bool hasSource(const std::string& name) {
  for (const AudioSourceInfo& source : PulseContext::shared().sources())
    if (source.name == name) return true;
  return false;
}

}  // namespace

// This program runs its own server so that it can stop and restart it.
TEST(PulseContext, ReconnectsWhenTheServerComesBack) {
  const std::string runtime = test::tempHome()->path() + "/runtime";
  auto server = std::make_unique<test::PulseServer>(runtime);
  ASSERT_TRUE(hasSource("vsink.monitor"));

  std::atomic<int> added = 0;
  const int token = PulseContext::shared().addSourceListener(
      [&](AudioSourceEvent event, const AudioSourceInfo& source) {
        if (event == AudioSourceEvent::added && source.name == "vback") ++added;
      });

  server.reset();
  EXPECT_TRUE(PulseContext::shared().sources().empty()) << "no server: no sources, no crash";
  EXPECT_FALSE(PulseContext::shared().connected());

  server = std::make_unique<test::PulseServer>(runtime);
  EXPECT_TRUE(hasSource("vsink.monitor"));
  server->pactl({"load-module", "module-null-source", "source_name=vback"});
  EXPECT_TRUE(test::eventually([&] { return added.load() == 1; })) << "events resume";
  PulseContext::shared().removeSourceListener(token);
}
