// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <mutex>
#include <thread>

#include "base/Clock.h"
#include "capture/CaptureTestSupport.h"
#include "capture/DeviceMonitor.h"
#include "platform/pulse/PulseSoundServer.h"
#include "platform/pulse/PulseAudio.h"
#include "platform/pulse/PulseRecorder.h"
#include "support/PipeMicrophone.h"

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
  const std::optional<SoundServerInfo> server = PulseContext::shared().serverInfo();
  ASSERT_TRUE(server.has_value());
  EXPECT_EQ(server->defaultSink, "vsink");
  EXPECT_EQ(server->defaultSinkMonitor, "vsink.monitor");
}

TEST(PulseAudio, SourcesCarryMonitorFlagAndDescription) {
  const std::vector<AudioSourceInfo> sources = PulseContext::shared().sources();
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
  ASSERT_TRUE(recorder.open(AudioInputFormat::systemAudio(), &error)) << error;
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
      EXPECT_NEAR(b.pts, previous.pts + previous.duration(), 0.02) << "stamps advance steadily";
    }
  }
  EXPECT_EQ(collected.buffers.size(), closed) << "nothing after close";
}

// Every sample carries its own index, so a buffer tells which samples it holds. The microphone
// first hands over a backlog at once (as a source does when a stream connects), then 10 ms
// pieces on a steady clock: sample n was captured at `captured + n / 48000`.
TEST(PulseRecorder, APipeMicrophonesBuffersAreStampedWhenTheirSamplesWereCaptured) {
  test::PipeMicrophone mic("vstamps");
  ASSERT_TRUE(mic.ok());
  struct Arrived {
    AudioRef buffer;
    double at;
  };
  std::mutex mutex;
  std::vector<Arrived> arrived;
  SerialQueue queue("vorn.test-audio");
  PulseRecorder recorder(queue, [&](AudioRef b) {
    const double now = mediaTime();
    std::lock_guard guard(mutex);
    arrived.push_back({std::move(b), now});
  });
  std::string error;
  ASSERT_TRUE(recorder.open(AudioInputFormat::microphone("vstamps"), &error)) << error;

  constexpr int rate = 48000, backlog = rate / 4, piece = rate / 100, pieces = 150;
  const auto indexed = [](long from, int count) {
    std::vector<float> samples(size_t(count), 0.0f);
    for (int i = 0; i < count; ++i) samples[size_t(i)] = std::ldexp(float(from + i), -24);
    return samples;
  };
  const double captured = mediaTime() - double(backlog) / rate;
  ASSERT_TRUE(mic.write(indexed(0, backlog)));
  const auto start = std::chrono::steady_clock::now();
  for (int p = 1; p <= pieces; ++p) {
    std::this_thread::sleep_until(start + std::chrono::milliseconds(10 * p));
    ASSERT_TRUE(mic.write(indexed(backlog + long(p - 1) * piece, piece)));
  }
  const long written = backlog + long(pieces) * piece;
  ASSERT_TRUE(test::eventually([&] {
    std::lock_guard guard(mutex);
    return !arrived.empty() &&
           std::lround(std::ldexp(arrived.back().buffer->samples.back(), 24)) >= written - piece;
  }));
  recorder.close();

  std::lock_guard guard(mutex);
  int checked = 0;
  for (const Arrived& a : arrived) {
    const AudioBuffer& b = *a.buffer;
    EXPECT_LE(b.pts + b.duration(), a.at + 1e-6) << "no sample is stamped after it arrived";
    const long index = std::lround(std::ldexp(b.samples.front(), 24));
    if (index < backlog + rate / 5) continue;  // the clock settles on the first arrivals
    EXPECT_NEAR(b.pts, captured + double(index) / rate, 0.02) << "sample " << index;
    ++checked;
  }
  EXPECT_GT(checked, 100);
}

TEST(PulseRecorder, AMissingSourceIsRefusedInOneSentence) {
  SerialQueue queue("vorn.test-audio");
  PulseRecorder recorder(queue, [](AudioRef) {});
  std::string error;
  EXPECT_FALSE(recorder.open(AudioInputFormat::microphone("no-such-source"), &error));
  EXPECT_FALSE(recorder.isOpen());
  EXPECT_NE(error.find("no-such-source"), std::string::npos);
}

TEST(DeviceMonitor, MicrophonesComingAndGoingAreReported) {
  std::mutex mutex;
  std::vector<std::pair<bool, DeviceInfo>> events;
  PulseSoundServer sound;
  DeviceMonitor monitor(
      sound,
      // Only this test's microphone: one an earlier test made may still be going away.
      [&](DeviceKind kind, const DeviceInfo& d) {
        std::lock_guard guard(mutex);
        if (kind == DeviceKind::mic && d.id == QStringLiteral("vplug")) events.emplace_back(true, d);
      },
      [&](DeviceKind kind, const DeviceInfo& d) {
        std::lock_guard guard(mutex);
        if (kind == DeviceKind::mic && d.id == QStringLiteral("vplug")) events.emplace_back(false, d);
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
