// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Av.h"
#include "base/Clock.h"
#include "record/Recorder.h"
#include "record/TakeFiles.h"
#include "support/ChildProcess.h"
#include "support/DecodeStream.h"
#include "support/MovieProbe.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

using namespace vorn;
using namespace vorn::test;

namespace {

constexpr double start = 1000.0;  // host time of the session start in these tests

// Feeds `count` frames at `fps` from host time `from`, waiting for each so none is dropped.
void feedFrames(Recorder& recorder, int count, int fps, double from, int firstIndex = 0) {
  for (int i = 0; i < count; ++i) {
    recorder.appendVideo(syntheticFrame(recorder, firstIndex + i), from + double(i) / fps);
    recorder.drain();
  }
}

// Finds "key=value" in the encoder's settings message inside the first packet.
std::string encoderSetting(const std::vector<std::uint8_t>& packet, const std::string& key) {
  const std::string text(packet.begin(), packet.end());
  const std::size_t at = text.find(" " + key + "=");
  if (at == std::string::npos) return "";
  const std::size_t from = at + key.size() + 2;
  return text.substr(from, text.find(' ', from) - from);
}

// 10 ms buffers of a loud tone from host time `from` to `to`, whose level steps up at host
// time `stepAt`: where the step lands shows where a moment of the capture went in the take.
void sound(Recorder& recorder, double from, double to, double stepAt = 1e9) {
  for (double t = from; t < to - 1e-9; t += 0.01) {
    auto buffer = std::make_shared<AudioBuffer>();
    buffer->pts = t;
    for (int i = 0; i < 480; ++i) {
      const double at = t + i / 48000.0;
      buffer->samples.push_back(float((at < stepAt ? 0.1 : 0.5) * std::sin(2 * M_PI * 440 * at)));
    }
    recorder.appendAudio(buffer, t, false);
  }
}

class RecorderTest : public ::testing::Test {
 protected:
  QString take(const QString& name = "Take.mp4") const { return folder.filePath(name); }
  QStringList filesInFolder() const {
    return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden);
  }
  QTemporaryDir folder;
};

TEST_F(RecorderTest, ThirtyFpsTakeHasTheTrackSettingsAndTheMoovInFront) {
  Recorder recorder(take(), 30, true, true);
  ASSERT_TRUE(recorder.begin(start));
  feedFrames(recorder, 121, 30, start);
  for (int i = 0; i < 40; ++i) {
    recorder.appendAudio(tone(1, 0.1, 440, start + i * 0.1), start + i * 0.1, false);
    recorder.appendAudio(tone(2, 0.1, 660, start + i * 0.1), start + i * 0.1, true);
  }
  EXPECT_NEAR(recorder.finish(), 4.0, 1e-6);
  EXPECT_EQ(recorder.droppedFrames(), 0);

  const auto streams = probeStreams(take());
  ASSERT_EQ(streams.size(), 3u);
  EXPECT_EQ(streams[0].type, "video");
  EXPECT_EQ(streams[0].codec, "h264");
  EXPECT_EQ(streams[0].profile, FF_PROFILE_H264_HIGH);
  EXPECT_EQ(streams[0].width, 1080);
  EXPECT_EQ(streams[0].height, 1920);
  EXPECT_EQ(streams[0].primaries, AVCOL_PRI_BT709);
  EXPECT_EQ(streams[0].transfer, AVCOL_TRC_BT709);
  EXPECT_EQ(streams[0].matrix, AVCOL_SPC_BT709);
  EXPECT_EQ(streams[1].codec, "aac");
  EXPECT_EQ(streams[1].channels, 1);
  EXPECT_EQ(streams[1].sampleRate, 48000);
  EXPECT_EQ(streams[2].codec, "aac");
  EXPECT_EQ(streams[2].channels, 2);
  EXPECT_EQ(streams[2].sampleRate, 48000);

  const auto boxes = topLevelBoxes(take());
  const auto moov = std::find(boxes.begin(), boxes.end(), "moov");
  const auto mdat = std::find(boxes.begin(), boxes.end(), "mdat");
  ASSERT_NE(moov, boxes.end());
  EXPECT_LT(moov, mdat);
  EXPECT_EQ(std::count(boxes.begin(), boxes.end(), "moof"), 0);

  const auto packets = readPackets(take(), 0);
  ASSERT_EQ(packets.size(), 121u);
  EXPECT_EQ(encoderSetting(packets[0].data, "bitrate"), "12000");
  EXPECT_EQ(encoderSetting(packets[0].data, "keyint"), "60");
  std::vector<int> keys;
  for (int i = 0; i < int(packets.size()); ++i)
    if (packets[i].key) keys.push_back(i);
  EXPECT_EQ(keys, (std::vector<int>{0, 60, 120}));
  EXPECT_TRUE(filesInFolder() == QStringList{"Take.mp4"}) << filesInFolder().join(", ").toStdString();
}

TEST_F(RecorderTest, SixtyFpsAsksForEighteenMegabitsAndAKeyFrameEveryHundredTwentyFrames) {
  Recorder recorder(take(), 60, true, false);
  ASSERT_TRUE(recorder.begin(start));
  feedFrames(recorder, 3, 60, start);
  recorder.finish();
  const auto packets = readPackets(take(), 0);
  ASSERT_FALSE(packets.empty());
  EXPECT_EQ(encoderSetting(packets[0].data, "bitrate"), "18000");
  EXPECT_EQ(encoderSetting(packets[0].data, "keyint"), "120");
  EXPECT_EQ(probeStreams(take()).size(), 2u);
}

// Vorn picks superfast below 60 fps and ultrafast at 60 (and after a take that dropped frames).
TEST_F(RecorderTest, EveryPresetVornPicksGivesAHighProfileTake) {
  for (const auto& [fps, preset] : {std::pair{30, "superfast"}, {60, "ultrafast"}}) {
    const QString path = take(QStringLiteral("Take %1.mp4").arg(fps));
    Recorder recorder(path, fps, false, false);
    if (!recorder.encoderName().startsWith("libx264")) GTEST_SKIP() << "hardware encoder";
    EXPECT_EQ(recorder.encoderName().toStdString(), std::string("libx264 (") + preset + ")");
    ASSERT_TRUE(recorder.begin(start));
    feedFrames(recorder, 3, fps, start);
    recorder.finish();
    const auto streams = probeStreams(path);
    ASSERT_FALSE(streams.empty());
    EXPECT_EQ(streams[0].profile, FF_PROFILE_H264_HIGH) << preset;
    const auto packets = readPackets(path, 0);
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(encoderSetting(packets[0].data, "cabac"), "1") << preset;
    EXPECT_EQ(encoderSetting(packets[0].data, "8x8dct"), "1") << preset;
  }
}

TEST_F(RecorderTest, APauseBetweenTwoFramesLeavesOneFrameInterval) {
  Recorder recorder(take(), 30, false, false);
  ASSERT_TRUE(recorder.begin(start));
  recorder.appendVideo(syntheticFrame(recorder, 0), start);
  recorder.pause(start + 0.010);
  recorder.pause(start + 1.0);  // a second pause keeps the first time
  recorder.appendVideo(syntheticFrame(recorder, 1), start + 0.020);  // while paused: dropped
  recorder.resume(start + 3.010);
  recorder.appendVideo(syntheticFrame(recorder, 2), start + 3.000 + 1.0 / 30);
  const double duration = recorder.finish();
  EXPECT_NEAR(duration, 1.0 / 30 - 0.0, 1e-6 + 0.0) << "the pause is cut out";

  const auto packets = readPackets(take(), 0);
  ASSERT_EQ(packets.size(), 2u);
  EXPECT_NEAR(packets[1].seconds - packets[0].seconds, 1.0 / 30 - 0.0, 1.0 / 90000 + 1e-9);
  EXPECT_LT(probeDuration(take()), 0.2);
}

// Frames land on the 1/30 s grid by their picture's time: a picture grabbed a tick early keeps
// its slot, a repeat takes the next free one, an older picture is dropped, and a late frame
// leaves its missed slots empty.
TEST_F(RecorderTest, FramesKeepToTheGridByTheirPicturesTime) {
  Recorder recorder(take(), 30, false, false);
  ASSERT_TRUE(recorder.begin(start));
  const double early = 2.0 / 30 - 1.0 / 60;
  for (double t : {0.0, 1.0 / 30, early, early, 0.04, 0.2}) {
    recorder.appendVideo(syntheticFrame(recorder, int(t * 100)), start + t);
    recorder.drain();
  }
  EXPECT_NEAR(recorder.finish(), 0.2, 1e-9);
  const auto packets = readPackets(take(), 0);
  ASSERT_EQ(packets.size(), 5u);
  for (size_t i = 0; i < packets.size(); ++i)
    EXPECT_NEAR(packets[i].seconds, (i < 4 ? double(i) : 6.0) / 30, 1e-4) << i;
  EXPECT_EQ(recorder.missingFrames(), 2) << "slots 4 and 5";
}

TEST_F(RecorderTest, EarlyAndPausedAudioIsAbsent) {
  Recorder recorder(take(), 30, true, false);
  ASSERT_TRUE(recorder.begin(start));
  recorder.appendAudio(tone(1, 0.5, 1000, start - 0.5), start - 0.5, false);  // early: tone
  recorder.appendAudio(tone(1, 1.0, 0, start), start, false);                 // silence
  recorder.pause(start + 1.0);
  recorder.appendAudio(tone(1, 1.0, 1000, start + 1.0), start + 1.0, false);  // paused: tone
  recorder.resume(start + 2.0);
  recorder.appendAudio(tone(1, 1.0, 0, start + 2.0), start + 2.0, false);     // silence
  recorder.appendAudio(tone(2, 1.0, 1000, start + 2.0), start + 2.0, true);   // no such track
  feedFrames(recorder, 2, 1, start);
  recorder.appendVideo(syntheticFrame(recorder, 2), start + 3.0);
  EXPECT_NEAR(recorder.finish(), 2.0, 1e-9);

  const auto streams = probeStreams(take());
  ASSERT_EQ(streams.size(), 2u);
  const auto samples = decodeAudio(take(), 1);
  EXPECT_GT(samples.size(), 48000u * 19 / 10);
  float peak = 0;
  for (float s : samples) peak = std::max(peak, std::abs(s));
  EXPECT_LT(peak, 0.01f);
}

// The sound of a take starts with its first frame, wherever that frame comes, and is placed
// by its capture time, also when it was captured (and handed over) before `begin`.
TEST_F(RecorderTest, SoundFromBeforeTheFirstFrameIsKeptFromThatFrameOnAtItsCaptureTime) {
  Recorder recorder(take(), 30, true, false);
  sound(recorder, start - 1.0, start, start + 1.0);
  ASSERT_TRUE(recorder.begin(start));
  sound(recorder, start, start + 2.0, start + 1.0);
  feedFrames(recorder, 53, 30, start + 0.25);  // the first frame a quarter second late
  EXPECT_NEAR(recorder.finish(), 52.0 / 30, 1e-6);

  const auto samples = decodeAudio(take(), 1);
  const Quiet quiet = quietRuns(samples);
  EXPECT_LT(quiet.leading, 0.001);
  EXPECT_LT(quiet.trailing, 0.05);
  EXPECT_NEAR(firstAtLeast(samples, 0.3f), 0.75, 0.01) << "the step at 1 s lands 0.25 s earlier";
}

// A source that hands over its sound late and half a second at a time, the last part after
// the stop (on the host clock: how late sound comes tells how long to wait for it).
TEST_F(RecorderTest, FinishWaitsForTheSoundStillOnItsWayUpToTheLastFrame) {
  const double t0 = mediaTime();
  Recorder recorder(take(), 30, true, false);
  ASSERT_TRUE(recorder.begin(t0));
  feedFrames(recorder, 60, 30, t0);
  sound(recorder, t0, t0 + 0.5);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  sound(recorder, t0 + 0.5, t0 + 1.0);
  std::atomic<bool> finishing{false};
  std::thread late([&] {
    while (!finishing) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    sound(recorder, t0 + 1.0, t0 + 2.0);
  });
  finishing = true;
  EXPECT_NEAR(recorder.finish(), 59.0 / 30, 1e-6);
  late.join();

  const Quiet quiet = quietRuns(decodeAudio(take(), 1));
  EXPECT_LT(quiet.trailing, 0.05);
  EXPECT_LT(quiet.longestInside, 0.05);
}

TEST_F(RecorderTest, FinishBeforeAnyFrameReturnsZero) {
  Recorder recorder(take(), 30, true, false);
  ASSERT_TRUE(recorder.begin(start));
  recorder.appendAudio(tone(1, 0.5, 440, start), start, false);
  EXPECT_EQ(recorder.finish(), 0.0);
  EXPECT_EQ(recorder.finish(), 0.0);
}

TEST_F(RecorderTest, ASecondBeginIsRefusedAndTheTakeGoesOn) {
  Recorder recorder(take(), 30, false, false);
  ASSERT_TRUE(recorder.begin(start));
  feedFrames(recorder, 3, 30, start);
  EXPECT_FALSE(recorder.begin(start + 5));
  feedFrames(recorder, 3, 30, start + 0.1, 3);
  EXPECT_NEAR(recorder.finish(), 0.1 + 2.0 / 30, 1e-9);
  EXPECT_EQ(readPackets(take(), 0).size(), 6u);
}

TEST_F(RecorderTest, FinishWithoutBeginReturnsZero) {
  Recorder recorder(take(), 30, false, false);
  EXPECT_EQ(recorder.finish(), 0.0);
}

TEST_F(RecorderTest, CancelLeavesNoFile) {
  {
    Recorder recorder(take(), 30, true, true);
    ASSERT_TRUE(recorder.begin(start));
    feedFrames(recorder, 10, 30, start);
    recorder.cancel();
    recorder.drain();
    EXPECT_TRUE(filesInFolder().isEmpty()) << filesInFolder().join(", ").toStdString();
    EXPECT_EQ(recorder.finish(), 0.0);
  }
  EXPECT_TRUE(filesInFolder().isEmpty());
}

TEST_F(RecorderTest, AnExistingFileIsRefusedInOneSentence) {
  QFile existing(take());
  ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
  existing.close();
  try {
    Recorder recorder(take(), 30, true, false);
    FAIL() << "created over an existing file";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("already exists"), std::string::npos);
  }
  EXPECT_THROW(Recorder(folder.filePath("missing/Take.mp4"), 30, false, false), std::runtime_error);
}

TEST_F(RecorderTest, AFileThatTakesTheNameDuringTheTakeStaysAndTheTakeGoesBesideIt) {
  Recorder recorder(take(), 30, true, false);
  ASSERT_TRUE(recorder.begin(start));
  feedFrames(recorder, 30, 30, start);
  {
    QFile other(take());
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.write("someone else's");
  }
  EXPECT_NEAR(recorder.finish(), 29.0 / 30, 1e-6);
  EXPECT_EQ(recorder.path(), take("Take (2).mp4"));
  EXPECT_TRUE(recorder.unfinishedAt().isEmpty());
  EXPECT_EQ(readPackets(take("Take (2).mp4"), 0).size(), 30u);
  QFile other(take());
  ASSERT_TRUE(other.open(QIODevice::ReadOnly));
  EXPECT_EQ(other.readAll(), "someone else's");
  EXPECT_EQ(filesInFolder(), (QStringList{"Take (2).mp4", "Take.mp4"}));
}

// The takes folder moved mid-take: the take is finished in the folder's new place. Removed
// mid-take: it is finished into the Videos folder. Nothing of it is lost either way.
TEST_F(RecorderTest, ATakeWhoseFolderMovesOrGoesIsFinishedWhereItCanBeFound) {
  const QString movies = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
  for (const bool removed : {false, true}) {
    const QString from = folder.filePath(removed ? "Gone" : "Before");
    const QString to = folder.filePath("After");
    ASSERT_TRUE(QDir().mkpath(from));
    const QString name = removed ? "Removed.mp4" : "Moved.mp4";
    Recorder recorder(from + "/" + name, 30, true, false);
    ASSERT_TRUE(recorder.begin(start));
    feedFrames(recorder, 15, 30, start);
    if (removed)
      ASSERT_TRUE(QDir(from).removeRecursively());
    else
      ASSERT_TRUE(QDir().rename(from, to));
    feedFrames(recorder, 15, 30, start + 0.5, 15);
    EXPECT_NEAR(recorder.finish(), 29.0 / 30, 1e-6);
    const QString saved = (removed ? movies : to) + "/" + name;
    EXPECT_EQ(recorder.path(), saved);
    EXPECT_EQ(readPackets(saved, 0).size(), 30u);
    if (!removed) EXPECT_EQ(QDir(to).entryList(QDir::Files | QDir::Hidden), QStringList{name});
    QFile::remove(saved);
  }
}

TEST_F(RecorderTest, AFullDiskStopsTheTakeAndKeepsWhatWasWritten) {
  // A file size limit stands in for a full disk: writes past it fail with EFBIG.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  QString failure;
  double duration = 0;
  {
    Recorder recorder(take(), 30, true, false);
    recorder.setFailureHandler([&](const QString& sentence) { failure = sentence; });
    ASSERT_TRUE(recorder.begin(start));
    rlimit limited = saved;
    limited.rlim_cur = 200'000;
    setrlimit(RLIMIT_FSIZE, &limited);
    for (int i = 0; i < 300 && failure.isEmpty(); ++i) {
      recorder.appendAudio(tone(1, 1.0 / 30, 440, start + i / 30.0), start + i / 30.0, false);
      feedFrames(recorder, 1, 30, start + i / 30.0, i * 7);
    }
    setrlimit(RLIMIT_FSIZE, &saved);
    duration = recorder.finish();
    EXPECT_EQ(recorder.failure(), failure);
  }
  EXPECT_EQ(failure, "The disk is full: the take was stopped and saved up to that point.");
  EXPECT_GT(duration, 0.5);
  EXPECT_LT(duration, 9.0);
  ASSERT_TRUE(QFileInfo::exists(take()));
  const auto packets = readPackets(take(), 0);
  ASSERT_GT(packets.size(), 10u);
  EXPECT_TRUE(packets.front().key);
  EXPECT_EQ(filesInFolder(), QStringList{"Take.mp4"});
  // Everything the kept take claims plays, and its duration is the file's.
  av::Input input = av::openInput(take().toStdString());
  int decoded = 0;
  decodeStream(input.get(), 0, [&](const AVFrame&) { ++decoded; });
  EXPECT_EQ(decoded, int(packets.size()));
  EXPECT_NEAR(duration, packets.back().seconds - packets.front().seconds, 1e-3);
  EXPECT_LT(probeDuration(take()), duration + 0.15);
}

TEST_F(RecorderTest, RecoveryTurnsALeftFragmentIntoATake) {
  const QString fragment = TakeFiles::fragmentPath(take());
  {
    Recorder recorder(take(), 30, true, false);
    ASSERT_TRUE(recorder.begin(start));
    feedFrames(recorder, 95, 30, start);
    // While the recorder lives its fragment is locked: recovery leaves it alone.
    EXPECT_TRUE(TakeFiles::recoverCrashedTakes(folder.path()).empty());
    // Simulate a crash: keep the fragment from being cleaned up.
    ASSERT_TRUE(QFile::copy(fragment, fragment + ".copy"));
    recorder.cancel();
  }
  ASSERT_TRUE(QFile::rename(fragment + ".copy", fragment));
  {  // the half-written final movie of a run that crashed while finishing
    QFile partial(folder.filePath(".finishing-Take.mp4"));
    ASSERT_TRUE(partial.open(QIODevice::WriteOnly));
    partial.write("partial");
  }
  const auto recovered = TakeFiles::recoverCrashedTakes(folder.path());
  ASSERT_EQ(recovered.size(), 1u);
  EXPECT_EQ(recovered[0], take());
  EXPECT_EQ(filesInFolder(), QStringList{"Take.mp4"});
  EXPECT_GE(readPackets(take(), 0).size(), 60u);  // fragments of whole seconds survive
}

}  // namespace

namespace {

TEST_F(RecorderTest, ATakeKilledMidwayIsRecoveredUpToTheLastTwoSeconds) {
  ChildProcess child({VORN_BINARY_DIR "/tests/recorder_child", take().toStdString(), "30"});
  QFile marker(take() + ".began");
  // Wait for the child to begin its take (it may be slow to start on a loaded machine).
  for (int i = 0; i < 600 && marker.size() == 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  ASSERT_TRUE(marker.open(QIODevice::ReadOnly));
  const double began = marker.readAll().toDouble();
  std::this_thread::sleep_for(std::chrono::milliseconds(3500));
  const double elapsed = mediaTime() - began;
  kill(child.pid(), SIGKILL);
  while (child.running()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  marker.remove();

  ASSERT_TRUE(QFileInfo::exists(TakeFiles::fragmentPath(take())));
  const auto recovered = TakeFiles::recoverCrashedTakes(folder.path());
  ASSERT_EQ(recovered.size(), 1u);
  EXPECT_EQ(filesInFolder(), QStringList{"Take.mp4"});
  const auto streams = probeStreams(take());
  ASSERT_EQ(streams.size(), 2u);
  const auto packets = readPackets(take(), 0);
  ASSERT_FALSE(packets.empty());
  EXPECT_TRUE(packets.front().key);
  EXPECT_GE(packets.back().seconds, elapsed - 2.0);
  EXPECT_LE(packets.back().seconds, elapsed);
  EXPECT_GE(probeDuration(take()), elapsed - 2.0);
}

}  // namespace

namespace {

TEST_F(RecorderTest, RecoveryRemovesAFragmentThatHoldsNoFrame) {
  {
    Recorder recorder(take(), 30, false, false);
    ASSERT_TRUE(recorder.begin(start));
    ASSERT_TRUE(QFile::copy(TakeFiles::fragmentPath(take()), folder.filePath("copy")));
    recorder.cancel();
  }
  ASSERT_TRUE(QFile::rename(folder.filePath("copy"), TakeFiles::fragmentPath(take())));
  EXPECT_TRUE(TakeFiles::recoverCrashedTakes(folder.path()).empty());
  EXPECT_TRUE(filesInFolder().isEmpty());
}

TEST_F(RecorderTest, RecoveryPicksAFreeNameBesideAnExistingTake) {
  {
    QFile existing(take());
    ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
  }
  const QString other = folder.filePath("Other.mp4");
  {
    Recorder recorder(other, 30, false, false);
    ASSERT_TRUE(recorder.begin(start));
    feedFrames(recorder, 40, 30, start);
    recorder.drain();
    ASSERT_TRUE(QFile::copy(TakeFiles::fragmentPath(other), folder.filePath("copy")));
    recorder.cancel();
  }
  // The fragment of "Take.mp4" while a file of that name exists already.
  ASSERT_TRUE(QFile::rename(folder.filePath("copy"), TakeFiles::fragmentPath(take())));
  const auto recovered = TakeFiles::recoverCrashedTakes(folder.path());
  ASSERT_EQ(recovered.size(), 1u);
  EXPECT_EQ(recovered[0], folder.filePath("Take (recovered).mp4"));
  EXPECT_EQ(filesInFolder(), (QStringList{"Take (recovered).mp4", "Take.mp4"}));
}

}  // namespace

namespace {

TEST_F(RecorderTest, AWriterThatCannotStartLeavesNoFile) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  Recorder recorder(take(), 30, true, true);
  rlimit limited = saved;
  limited.rlim_cur = 16;  // not even the movie header fits
  setrlimit(RLIMIT_FSIZE, &limited);
  const bool began = recorder.begin(start);
  setrlimit(RLIMIT_FSIZE, &saved);
  EXPECT_FALSE(began);
  recorder.appendVideo(syntheticFrame(recorder, 0), start);
  EXPECT_EQ(recorder.finish(), 0.0);
  EXPECT_TRUE(filesInFolder().isEmpty());
}

// Frames from a render thread and audio from two capture threads: every frame is either
// written or counted as dropped, and the file reads back whole. (No pause here: a frame that
// meets a pause is dropped without being counted, by design.)
TEST_F(RecorderTest, FramesFromBusyThreadsAreWrittenOrCountedNeverLost) {
  Recorder recorder(take(), 30, true, true);
  ASSERT_TRUE(recorder.begin(start));
  constexpr int frames = 90;
  std::thread render([&] {
    for (int i = 0; i < frames; ++i) {
      FrameRef frame = recorder.pool()->take();
      recorder.appendVideo(frame, start + i / 30.0);  // as fast as possible: the queue fills
    }
  });
  auto capture = [&](bool system) {
    for (int i = 0; i < 300; ++i)
      recorder.appendAudio(tone(system ? 2 : 1, 0.01, 440, start + i * 0.01), start + i * 0.01,
                           system);
  };
  std::thread mic(capture, false), sys(capture, true);
  render.join();
  mic.join();
  sys.join();
  recorder.finish();
  const auto packets = readPackets(take(), 0);
  EXPECT_GT(recorder.droppedFrames(), 0);
  EXPECT_EQ(int(packets.size()) + recorder.droppedFrames(), frames);
  for (std::size_t i = 1; i < packets.size(); ++i) EXPECT_GT(packets[i].pts, packets[i - 1].pts);
  EXPECT_EQ(probeStreams(take()).size(), 3u);
}

}  // namespace

namespace {

// Takes started at the same instant under one name, while another run recovers the folder:
// each claims a name of its own and every one of them is kept whole.
TEST_F(RecorderTest, TakesStartedAtOnceUnderOneNameAreAllKept) {
  constexpr int takes = 6;
  std::atomic<int> ready{0};
  std::atomic<bool> recovering{true};
  std::vector<QString> saved(takes);
  std::vector<std::string> errors(takes);
  std::thread recovery([&] {
    while (recovering) TakeFiles::recoverCrashedTakes(folder.path());
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < takes; ++i)
    threads.emplace_back([&, i] {
      ready.fetch_add(1);
      while (ready.load() < takes) std::this_thread::yield();
      try {
        Recorder recorder(take(), 30, false, false);
        if (!recorder.begin(start)) return;
        feedFrames(recorder, 10, 30, start);
        if (recorder.finish() > 0) saved[size_t(i)] = recorder.path();
      } catch (const std::exception& error) {
        errors[size_t(i)] = error.what();
      }
    });
  for (std::thread& thread : threads) thread.join();
  recovering = false;
  recovery.join();

  for (int i = 0; i < takes; ++i) {
    EXPECT_EQ(errors[size_t(i)], "");
    ASSERT_FALSE(saved[size_t(i)].isEmpty()) << "a take was lost";
    EXPECT_EQ(readPackets(saved[size_t(i)], 0).size(), 10u) << saved[size_t(i)].toStdString();
  }
  std::sort(saved.begin(), saved.end());
  EXPECT_EQ(std::unique(saved.begin(), saved.end()), saved.end()) << "one file each";
  EXPECT_EQ(filesInFolder().size(), takes) << filesInFolder().join(", ").toStdString();
}

}  // namespace

namespace {

mode_t modeOf(const QString& path) {
  struct stat info {};
  return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

// Names planted beside a take (a link pointing nowhere, a link to another file) are never
// written through, and the take's files are the user's alone whatever the umask.
TEST_F(RecorderTest, ATakesFilesAreTheUsersAloneAndNeverWrittenThroughALink) {
  const mode_t umaskBefore = ::umask(022);
  QTemporaryDir outside;
  const QString victim = outside.filePath("victim");
  {
    QFile file(victim);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("keep");
  }
  ASSERT_TRUE(QFile::link(outside.filePath("planted.mp4"), take("Dangling.mp4")));
  EXPECT_THROW(Recorder(take("Dangling.mp4"), 30, false, false), std::runtime_error);
  ASSERT_TRUE(QFile::link(outside.filePath("fragment.mp4"), TakeFiles::fragmentPath(take())));
  ASSERT_TRUE(QFile::link(victim, folder.filePath(".finishing-Take (2).mp4")));
  {
    Recorder recorder(take(), 30, false, false);
    EXPECT_EQ(recorder.path(), take("Take (2).mp4")) << "the fragment's name is taken by the link";
    EXPECT_EQ(modeOf(TakeFiles::fragmentPath(recorder.path())), 0600u);
    ASSERT_TRUE(recorder.begin(start));
    feedFrames(recorder, 10, 30, start);
    EXPECT_GT(recorder.finish(), 0);
    EXPECT_EQ(modeOf(recorder.path()), 0600u);
    EXPECT_EQ(readPackets(recorder.path(), 0).size(), 10u);
  }
  ::umask(umaskBefore);
  EXPECT_EQ(QDir(outside.path()).entryList(QDir::Files), QStringList{"victim"});
  QFile file(victim);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), "keep");
}

// What the log says a take dropped is what `vorn record` prints: the take's missing frames.
TEST_F(RecorderTest, TheDroppedFramesSaidAreTheFramesTheTakeIsMissing) {
  Recorder recorder(take(), 30, false, false);
  ASSERT_TRUE(recorder.begin(start));
  feedFrames(recorder, 10, 30, start);
  feedFrames(recorder, 10, 30, start + 15.0 / 30, 15);  // five slots never composed
  testing::internal::CaptureStderr();
  recorder.finish();
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_EQ(recorder.missingFrames(), 5);
  EXPECT_NE(log.find("the take dropped 5 frames"), std::string::npos) << log;
}

// The frame rate the H.264 stream states in its own timing (its SPS), as the decoder reads it.
AVRational statedFrameRate(const QString& path) {
  av::Input input = av::openInput(path.toStdString());
  av::CodecContext decoder = av::openDecoder(input->streams[0]);
  av::Packet packet = av::makePacket();
  av::Frame frame = av::makeFrame();
  bool ended = false;
  av::receiveFrame(input.get(), 0, decoder.get(), packet.get(), frame.get(), ended);
  return decoder->framerate;
}

TEST_F(RecorderTest, TheVideoStreamStatesTheTakesFrameRate) {
  for (const int fps : {30, 60}) {
    const QString path = take(QStringLiteral("Take %1.mp4").arg(fps));
    Recorder recorder(path, fps, false, false);
    ASSERT_TRUE(recorder.begin(start));
    feedFrames(recorder, 5, fps, start);
    recorder.finish();
    const AVRational rate = statedFrameRate(path);
    EXPECT_EQ(av_cmp_q(rate, AVRational{fps, 1}), 0) << rate.num << "/" << rate.den;
  }
}

}  // namespace
