// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <mutex>

#include "base/Clock.h"
#include "capture/CameraSource.h"
#include "capture/CaptureTestSupport.h"
#include "support/PipeMicrophone.h"
#include "capture/SampleCamera.h"
#include "platform/pulse/PulseSoundServer.h"

using namespace vorn;

namespace {

AudioRef buffer(float value, int frames = 480) {
  auto made = std::make_shared<AudioBuffer>();
  made->samples.assign(size_t(frames), value);
  return made;
}

SoundServer& sound() {
  static PulseSoundServer server;
  return server;
}

const DeviceInfo missingMic{QStringLiteral("no-such-microphone"), QStringLiteral("Missing")};

void feedZeros(CameraSource& source, int count) {
  for (int i = 0; i < count; ++i) source.receiveMic(buffer(0));
}

}  // namespace

TEST(CameraSource, MoreThan100ZeroBuffersMakeTheMicrophoneSilent) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  feedZeros(source, 100);
  EXPECT_FALSE(source.silent.get());
  feedZeros(source, 1);
  EXPECT_TRUE(source.silent.get());
  EXPECT_EQ(source.level.get(), 0.0f);
}

TEST(CameraSource, OneLouderBufferClearsSilenceAtOnce) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  feedZeros(source, 150);
  ASSERT_TRUE(source.silent.get());
  source.receiveMic(buffer(0.0001f));  // −80 dB: quiet, but not digital silence
  EXPECT_FALSE(source.silent.get());
  feedZeros(source, 100);
  EXPECT_FALSE(source.silent.get()) << "the run starts again from zero";
  feedZeros(source, 1);
  EXPECT_TRUE(source.silent.get());
}

TEST(CameraSource, LevelFollowsTheBuffersPower) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  source.receiveMic(buffer(float(std::pow(10.0, -25 / 20.0))));  // a constant −25 dBFS
  EXPECT_NEAR(source.level.get(), 0.5f, 1e-4);
  source.receiveMic(buffer(1.0f));
  EXPECT_FLOAT_EQ(source.level.get(), 1.0f);
}

TEST(CameraSource, EveryBufferReachesOnMicInOrder) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  std::vector<const AudioBuffer*> seen;
  source.onMic = [&](AudioRef b) { seen.push_back(b.get()); };
  const AudioRef first = buffer(0.5f), second = buffer(0);
  source.receiveMic(first);
  source.receiveMic(second);
  EXPECT_EQ(seen, (std::vector<const AudioBuffer*>{first.get(), second.get()}));
}

TEST(CameraSource, SwitchingTheMicrophoneClearsSilence) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  feedZeros(source, 101);
  ASSERT_TRUE(source.silent.get());
  source.configure(std::nullopt, missingMic);
  source.sync();
  EXPECT_FALSE(source.silent.get());
  feedZeros(source, 100);
  EXPECT_FALSE(source.silent.get()) << "the zero run started again";
}

TEST(CameraSource, WithoutACameraLatestAndFaceAreCleared) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  source.configure(SampleCamera::info(), std::nullopt);
  ASSERT_TRUE(test::eventually([&] { return source.latest.get().buffer != nullptr; }));
  source.face.set(Face{{0.4, 0.5, 0.2, 0.2}, 1.0});
  source.configure(std::nullopt, missingMic);
  source.sync();
  EXPECT_EQ(source.latest.get().buffer, nullptr);
  EXPECT_FALSE(source.face.get().has_value());
  EXPECT_TRUE(source.isRunning());
}

TEST(CameraSource, WithNeitherDeviceTheSessionStops) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  source.configure(SampleCamera::info(), std::nullopt);
  source.sync();
  EXPECT_TRUE(source.isRunning());
  source.configure(std::nullopt, std::nullopt);
  source.sync();
  EXPECT_FALSE(source.isRunning());
  EXPECT_EQ(source.latest.get().buffer, nullptr);
}

TEST(CameraSource, StopClearsThePicture) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  source.configure(SampleCamera::info(), std::nullopt);
  ASSERT_TRUE(test::eventually([&] { return source.latest.get().buffer != nullptr; }));
  source.stop();
  source.sync();
  EXPECT_FALSE(source.isRunning());
  EXPECT_EQ(source.latest.get().buffer, nullptr);
}

TEST(CameraSource, FindsTheFaceOfTheSampleCamera) {
  CameraSource source{sound(), SampleCamera::builtInPath};
  const double before = mediaTime();
  source.configure(SampleCamera::info(), std::nullopt);
  ASSERT_TRUE(test::eventually([&] { return source.face.get().has_value(); }));
  const Face face = *source.face.get();
  EXPECT_GE(face.time, before);
  EXPECT_GT(face.rect.y, 0.45) << "origin at the bottom left: the face is in the upper half";
}

TEST(CameraSource, MicrophonesExcludeMonitors) {
  test::PipeMicrophone mic("vlistmic");
  ASSERT_TRUE(mic.ok());
  const std::vector<DeviceInfo> mics = CameraSource(sound()).mics();
  auto has = [&](const char* id) {
    return std::any_of(mics.begin(), mics.end(),
                       [&](const DeviceInfo& d) { return d.id == QLatin1String(id); });
  };
  EXPECT_TRUE(has("vlistmic"));
  EXPECT_FALSE(has("vsink.monitor"));
}

TEST(CameraSource, TheDefaultMicIsTheServersDefaultSourceButNeverAMonitor) {
  test::pulseServer()->pactl({"set-default-source", "vsink.monitor"});
  EXPECT_FALSE(CameraSource(sound()).defaultMic().has_value());
  test::PipeMicrophone mic("vdefaultmic");
  ASSERT_TRUE(mic.ok());
  test::pulseServer()->pactl({"set-default-source", "vdefaultmic"});
  const std::optional<DeviceInfo> found = CameraSource(sound()).defaultMic();
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->id, QStringLiteral("vdefaultmic"));
}

TEST(CameraSource, ARealMicrophoneDrivesLevelAndSilence) {
  test::PipeMicrophone mic("vmic");
  ASSERT_TRUE(mic.ok());
  CameraSource source{sound(), SampleCamera::builtInPath};
  std::mutex mutex;
  std::vector<double> stamps;
  float loudest = 0;
  source.onMic = [&](AudioRef b) {
    std::lock_guard guard(mutex);
    stamps.push_back(b->pts);
    loudest = std::max(loudest, source.level.get());
    EXPECT_EQ(b->channels, 1);
    EXPECT_EQ(b->sampleRate, 48000);
  };
  source.configure(std::nullopt, DeviceInfo{QStringLiteral("vmic"), QStringLiteral("Pipe")});
  source.sync();
  ASSERT_TRUE(source.isRunning());

  mic.play(0.3, 0.5);  // −9 dBFS
  mic.play(1.3, 0.0);  // 130 buffers of digital silence
  ASSERT_TRUE(test::eventually([&] { return source.silent.get(); }));
  EXPECT_EQ(source.level.get(), 0.0f);
  {
    std::lock_guard guard(mutex);
    EXPECT_GT(loudest, 0.7f);
    EXPECT_GT(stamps.size(), 101u);
    for (size_t i = 1; i < stamps.size(); ++i)
      ASSERT_GT(stamps[i], stamps[i - 1]) << "buffer " << i;
  }
  mic.play(0.05, 0.5);
  EXPECT_TRUE(test::eventually([&] { return !source.silent.get(); }));
  source.configure(std::nullopt, std::nullopt);
  source.sync();
}
