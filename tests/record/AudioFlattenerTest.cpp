// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/AudioFlattener.h"
#include "record/Recorder.h"
#include "support/MovieProbe.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cmath>
#include <csignal>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace vorn;
using namespace vorn::test;

namespace {

constexpr double start = 500.0;

// Records a two-second take with the tracks asked for: a 440 Hz microphone and 660 Hz system
// audio, each silent until the second given.
void recordTake(const QString& path, bool hasMic, bool hasSystem, double micFrom = 0,
                double systemFrom = 0) {
  Recorder recorder(path, 30, hasMic, hasSystem);
  ASSERT_TRUE(recorder.begin(start));
  for (int i = 0; i <= 60; ++i) {
    const double t = start + i / 30.0;
    const double second = i / 30.0 + 1e-9;
    if (hasMic) recorder.appendAudio(tone(1, 1.0 / 30, second < micFrom ? 0 : 440, t), t, false);
    if (hasSystem)
      recorder.appendAudio(tone(2, 1.0 / 30, second < systemFrom ? 0 : 660, t), t, true);
    recorder.appendVideo(syntheticFrame(recorder, i), t);
    recorder.drain();
  }
  ASSERT_NEAR(recorder.finish(), 2.0, 1e-9);
}

QByteArray contents(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class AudioFlattenerTest : public ::testing::Test {
 protected:
  QString take() const { return folder.filePath("Take.mp4"); }
  QStringList filesInFolder() const {
    return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden);
  }
  QTemporaryDir folder;
};

TEST_F(AudioFlattenerTest, BothAudioTracksBecomeOneStereoTrackAndTheVideoIsCopied) {
  recordTake(take(), true, true);
  const auto videoBefore = readPackets(take(), 0);

  AudioFlattener::flatten(take());

  const auto streams = probeStreams(take());
  ASSERT_EQ(streams.size(), 2u);
  EXPECT_EQ(streams[0].type, "video");
  EXPECT_EQ(streams[1].codec, "aac");
  EXPECT_EQ(streams[1].channels, 2);
  EXPECT_EQ(streams[1].sampleRate, 48000);
  const auto videoAfter = readPackets(take(), 0);
  ASSERT_EQ(videoAfter.size(), videoBefore.size());
  for (std::size_t i = 0; i < videoBefore.size(); ++i) {
    EXPECT_EQ(videoAfter[i].seconds, videoBefore[i].seconds) << i;
    EXPECT_EQ(videoAfter[i].key, videoBefore[i].key) << i;
    EXPECT_TRUE(videoAfter[i].data == videoBefore[i].data) << i;
  }
  // Both tones are in the mix: 440 Hz + 660 Hz at 0.5 each peak near 1.
  const auto mixed = decodeAudio(take(), 1);
  EXPECT_GT(mixed.size(), 2u * 48000 * 19 / 10);
  double energy = 0;
  for (float s : mixed) energy += double(s) * s;
  EXPECT_NEAR(std::sqrt(energy / double(mixed.size())), 0.5, 0.08);
  EXPECT_EQ(filesInFolder(), QStringList{"Take.mp4"});
}

// Each track keeps its place in the mix: the microphone comes in at 0.5 s, system audio adds
// to it at 1.5 s.
TEST_F(AudioFlattenerTest, TheTracksKeepTheirTimesInTheMix) {
  recordTake(take(), true, true, 0.5, 1.5);
  AudioFlattener::flatten(take());
  const auto stereo = decodeAudio(take(), 1);
  std::vector<float> left;
  for (std::size_t i = 0; i < stereo.size(); i += 2) left.push_back(stereo[i]);
  EXPECT_NEAR(firstAtLeast(left, 0.3f), 0.5, 0.002);
  EXPECT_NEAR(firstAtLeast(left, 0.75f), 1.5, 0.002);
}

TEST_F(AudioFlattenerTest, AMicrophoneOnlyTakeStaysByteForByte) {
  recordTake(take(), true, false);
  const QByteArray before = contents(take());
  AudioFlattener::flatten(take());
  EXPECT_TRUE(contents(take()) == before);
  EXPECT_EQ(filesInFolder(), QStringList{"Take.mp4"});
}

TEST_F(AudioFlattenerTest, AFailedFlattenLeavesTheTakeAndNoTemporaryFile) {
  recordTake(take(), true, true);
  const QByteArray before = contents(take());
  // A file size limit below the take's size makes writing the mix fail part way.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  rlimit limited = saved;
  limited.rlim_cur = rlim_t(before.size() / 2);
  setrlimit(RLIMIT_FSIZE, &limited);
  EXPECT_THROW(AudioFlattener::flatten(take()), std::runtime_error);
  setrlimit(RLIMIT_FSIZE, &saved);
  EXPECT_TRUE(contents(take()) == before);
  EXPECT_EQ(filesInFolder(), QStringList{"Take.mp4"});
}

TEST_F(AudioFlattenerTest, AMissingTakeFailsInOneSentence) {
  EXPECT_THROW(AudioFlattener::flatten(take()), std::runtime_error);
  EXPECT_TRUE(filesInFolder().isEmpty());
}

// A run killed while mixing leaves the hidden copy and the take with both tracks: the next
// start mixes that take again. A copy still locked is another run's mix under way: left be.
TEST_F(AudioFlattenerTest, AMixKilledMidwayIsFinishedAtTheNextStartAndOneUnderWayIsLeftBe) {
  recordTake(take(), true, true);
  const QString other = folder.filePath("Other.mp4");
  recordTake(other, true, true);
  const auto plant = [&](const QString& name) {
    QFile mix(folder.filePath(name));
    EXPECT_TRUE(mix.open(QIODevice::WriteOnly));
    mix.write("half a movie");
    return mix.handle() >= 0 ? ::dup(mix.handle()) : -1;
  };
  ::close(plant(".mix-killed.mp4"));
  // The other take's mix is under way in another run, which holds its lock.
  const int underWay = plant(".mix-running.mp4");
  ASSERT_EQ(::flock(underWay, LOCK_EX), 0);
  const auto age = [](const QString& path, int seconds) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.setFileTime(QDateTime::currentDateTime().addSecs(-seconds), QFileDevice::FileModificationTime);
  };
  age(folder.filePath(".mix-running.mp4"), 3600);
  age(other, 3600);
  age(take(), 5);

  EXPECT_EQ(AudioFlattener::finishInterrupted(folder.path()), std::vector<QString>{take()});
  EXPECT_EQ(probeStreams(take()).size(), 2u) << "picture and one mixed track";
  EXPECT_EQ(probeStreams(other).size(), 3u);
  EXPECT_EQ(filesInFolder(), (QStringList{".mix-running.mp4", "Other.mp4", "Take.mp4"}));
  ::close(underWay);
}

}  // namespace
