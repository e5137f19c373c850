// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Clock.h"
#include "capture/SystemAudioCapture.h"
#include "platform/pulse/PulseSoundServer.h"
#include "support/TestServices.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <mutex>
#include <thread>

namespace vorn {
namespace {

// Five seconds of a 440 Hz stereo tone as raw 48 kHz float, played into the null sink.
std::string writeTone() {
  const std::string path = test::tempHome()->path() + "/tone.raw";
  std::ofstream out(path, std::ios::binary);
  for (int i = 0; i < 48000 * 5; ++i) {
    const float v = float(0.5 * std::sin(2 * M_PI * 440 * i / 48000.0));
    out.write(reinterpret_cast<const char*>(&v), sizeof v);
    out.write(reinterpret_cast<const char*>(&v), sizeof v);
  }
  return path;
}

double peak(const AudioBuffer& b) {
  double m = 0;
  for (float s : b.samples) m = std::max(m, double(std::abs(s)));
  return m;
}

TEST(SystemAudio, aTonePlayedIntoTheSinkArrivesWithRisingTimestamps) {
  std::mutex mutex;
  std::vector<AudioRef> buffers;
  PulseSoundServer sound;
  SystemAudioCapture capture(sound, [&](AudioRef b) {
    std::lock_guard guard(mutex);
    buffers.push_back(std::move(b));
  });
  const double started = mediaTime();
  capture.setEnabled(true);
  ASSERT_TRUE(capture.enabled());

  test::ChildProcess player({"paplay", "--raw", "--format=float32le", "--rate=48000",
                             "--channels=2", "-d", "vsink", writeTone()});
  bool heard = false;
  size_t count = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while ((!heard || count < 20) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::lock_guard guard(mutex);
    count = buffers.size();
    for (const AudioRef& b : buffers) heard = heard || peak(*b) > 0.3;
  }
  capture.setEnabled(false);
  EXPECT_TRUE(heard) << "the tone reached the system audio callback";

  std::lock_guard guard(mutex);
  ASSERT_GE(buffers.size(), 10u);
  for (size_t i = 0; i < buffers.size(); ++i) {
    EXPECT_EQ(buffers[i]->channels, 2);
    EXPECT_EQ(buffers[i]->sampleRate, 48000);
    EXPECT_GT(buffers[i]->pts, started - 1);
    if (i > 0) {
      EXPECT_GT(buffers[i]->pts, buffers[i - 1]->pts);
    }
  }
}

TEST(SystemAudio, switchingOffStopsTheBuffers) {
  std::atomic<int> count{0};
  PulseSoundServer sound;
  SystemAudioCapture capture(sound, [&](AudioRef) { ++count; });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(count.load(), 0) << "no system audio unless asked";
  capture.setEnabled(true);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (count < 5 && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_GE(count.load(), 5);
  capture.setEnabled(false);
  const int after = count;
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(count.load(), after) << "no buffer once the stream is closed";
}

}  // namespace
}  // namespace vorn
