#include <gtest/gtest.h>

#include <mutex>

#include "base/Clock.h"
#include "capture/CaptureTestSupport.h"
#include "capture/DeviceMonitor.h"
#include "capture/PulseAudio.h"
#include "capture/PulseRecorder.h"
#include "capture/PulseTestSupport.h"

using namespace vorn;

namespace {

struct Collected {
  std::mutex mutex;
  std::vector<AudioRef> buffers;
  size_t size() {
    std::lock_guard guard(mutex);
    return buffers.size();
  }
};

}  // namespace

TEST(PulseAudio, ServerInfoNamesTheDefaultSinksMonitor) {
  const std::optional<PulseServerInfo> server = PulseContext::shared().serverInfo();
  ASSERT_TRUE(server.has_value());
  EXPECT_EQ(server->defaultSink, "vsink");
  EXPECT_EQ(server->defaultSinkMonitor, "vsink.monitor");
}

TEST(PulseAudio, SourcesCarryMonitorFlagAndDescription) {
  const std::vector<PulseSourceInfo> sources = PulseContext::shared().sources();
  auto monitor = std::find_if(sources.begin(), sources.end(),
                              [](const auto& s) { return s.name == "vsink.monitor"; });
  ASSERT_NE(monitor, sources.end());
  EXPECT_TRUE(monitor->isMonitor);
  EXPECT_FALSE(monitor->description.empty());
  EXPECT_FALSE(monitor->isBluetooth());
}

TEST(PulseRecorder, RecordsTheDefaultSinksMonitorInStereo) {
  SerialQueue queue("vorn.test-audio");
  Collected collected;
  PulseRecorder recorder(queue, [&](AudioRef b) {
    std::lock_guard guard(collected.mutex);
    collected.buffers.push_back(std::move(b));
  });
  const double opened = mediaTime();
  std::string error;
  ASSERT_TRUE(recorder.open(PulseRecordFormat::systemAudio(), &error)) << error;
  ASSERT_TRUE(test::eventually([&] { return collected.size() >= 20; }));
  recorder.close();
  const size_t closed = collected.size();
  std::lock_guard guard(collected.mutex);
  for (size_t i = 0; i < collected.buffers.size(); ++i) {
    const AudioBuffer& b = *collected.buffers[i];
    EXPECT_EQ(b.channels, 2);
    EXPECT_EQ(b.sampleRate, 48000);
    EXPECT_EQ(b.frameCount(), 480);
    EXPECT_GT(b.pts, opened - 1.0) << "stamps are media times";
    EXPECT_LT(b.pts, mediaTime());
    if (i > 0) {
      const AudioBuffer& previous = *collected.buffers[i - 1];
      EXPECT_GE(b.pts, previous.pts + previous.duration() - 1e-9) << "buffers never overlap";
    }
  }
  EXPECT_EQ(collected.buffers.size(), closed) << "nothing after close";
}

TEST(PulseRecorder, AMissingSourceIsRefusedInOneSentence) {
  SerialQueue queue("vorn.test-audio");
  PulseRecorder recorder(queue, [](AudioRef) {});
  std::string error;
  EXPECT_FALSE(recorder.open(PulseRecordFormat::microphone("no-such-source"), &error));
  EXPECT_FALSE(recorder.isOpen());
  EXPECT_NE(error.find("no-such-source"), std::string::npos);
}

TEST(DeviceMonitor, MicrophonesComingAndGoingAreReported) {
  std::mutex mutex;
  std::vector<std::pair<bool, DeviceInfo>> events;
  DeviceMonitor monitor(
      [&](DeviceKind kind, const DeviceInfo& d) {
        std::lock_guard guard(mutex);
        if (kind == DeviceKind::mic) events.emplace_back(true, d);
      },
      [&](DeviceKind kind, const DeviceInfo& d) {
        std::lock_guard guard(mutex);
        if (kind == DeviceKind::mic) events.emplace_back(false, d);
      });
  auto count = [&] {
    std::lock_guard guard(mutex);
    return events.size();
  };
  {
    test::PipeMicrophone mic("vplug");
    ASSERT_TRUE(mic.ok());
    ASSERT_TRUE(test::eventually([&] { return count() >= 1; }));
  }
  ASSERT_TRUE(test::eventually([&] { return count() >= 2; }));
  std::lock_guard guard(mutex);
  EXPECT_TRUE(events[0].first);
  EXPECT_EQ(events[0].second.id, QStringLiteral("vplug"));
  EXPECT_FALSE(events[1].first);
  EXPECT_EQ(events[1].second.id, QStringLiteral("vplug"));
}
