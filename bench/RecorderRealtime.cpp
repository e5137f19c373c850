// SPDX-License-Identifier: GPL-3.0-or-later
// Records a synthetic screen-like take in real time through the Recorder, as the render loop
// and the capture sources would feed it, then finishes and flattens it.
//   recorder_realtime FPS SECONDS [FOLDER]
// With VORN_BENCH_OFFLINE set, frames are fed as fast as the writer takes them, stamped as if
// in real time: the CPU figure is then the cost of a recorded second on an idle machine.
// Prints frames fed and dropped, process CPU per recorded second (frame painting included),
// the encoder, and the time `finish` and `AudioFlattener::flatten` took. With VORN_KEEP_TAKE
// set, a copy of the take before flattening stays beside it.

#include "ScreenLikeFrames.h"
#include "base/Clock.h"
#include "record/AudioFlattener.h"
#include "record/Recorder.h"

#include <QDir>
#include <QFile>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <sys/resource.h>
#include <thread>

using namespace vorn;

namespace {

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

AudioRef sine(int channels, double hertz, double pts) {
  auto buffer = std::make_shared<AudioBuffer>();
  buffer->channels = channels;
  buffer->pts = pts;
  buffer->samples.resize(480 * std::size_t(channels));
  for (int i = 0; i < 480; ++i)
    for (int c = 0; c < channels; ++c)
      buffer->samples[std::size_t(i) * channels + c] =
          0.3f * float(std::sin(2 * M_PI * hertz * (pts + i / 48000.0)));
  return buffer;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: recorder_realtime FPS SECONDS [FOLDER]\n");
    return 2;
  }
  const int fps = std::atoi(argv[1]);
  const double seconds = std::atof(argv[2]);
  const QString folder = argc > 3 ? QString::fromLocal8Bit(argv[3]) : QDir::tempPath();
  const QString take = QDir(folder).filePath(QStringLiteral("bench-%1fps.mp4").arg(fps));
  QFile::remove(take);

  const bool offline = qEnvironmentVariableIsSet("VORN_BENCH_OFFLINE");
  const bench::ScreenLikeFrames screen(1080, 1920);
  Recorder recorder(take, fps, true, true);
  const double start = mediaTime();
  if (!recorder.begin(start)) return 1;
  const double cpuBefore = cpuSeconds();

  // The capture sources: 10 ms buffers of microphone and system audio.
  std::atomic<bool> recording{true};
  std::thread audio([&] {
    const auto first = std::chrono::steady_clock::now();
    for (int i = 0; recording && !offline; ++i) {
      std::this_thread::sleep_until(first + std::chrono::milliseconds(10 * i));
      const double now = mediaTime();
      recorder.appendAudio(sine(1, 440, now), now, false);
      recorder.appendAudio(sine(2, 660, now), now, true);
    }
  });

  // The render loop: paced on the steady clock, missed deadlines skipped.
  const int frames = int(seconds * fps);
  const auto first = std::chrono::steady_clock::now();
  int fed = 0, noBuffer = 0;
  for (int i = 0; i < frames; ++i) {
    const double stamp = start + double(i) / fps;
    if (offline) {
      for (double t = stamp - 1.0 / fps; t < stamp; t += 0.01) {
        recorder.appendAudio(sine(1, 440, t), t, false);
        recorder.appendAudio(sine(2, 660, t), t, true);
      }
    } else {
      std::this_thread::sleep_until(first + std::chrono::microseconds(1'000'000LL * i / fps));
    }
    FrameRef frame = recorder.pool()->take();
    if (!frame) {
      ++noBuffer;
      continue;
    }
    screen.paint(*frame, i);
    recorder.appendVideo(std::move(frame), offline ? stamp : mediaTime());
    if (offline) recorder.drain();
    ++fed;
  }
  recording = false;
  audio.join();
  recorder.drain();
  const double cpu = cpuSeconds() - cpuBefore;

  const auto finishStart = std::chrono::steady_clock::now();
  const double duration = recorder.finish();
  const double finishSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - finishStart).count();
  if (qEnvironmentVariableIsSet("VORN_KEEP_TAKE")) QFile::copy(take, take + ".unflattened.mp4");
  const auto flattenStart = std::chrono::steady_clock::now();
  AudioFlattener::flatten(take);
  const double flattenSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - flattenStart).count();

  std::printf("encoder %s, %d fps, %.1f s recorded\n", recorder.encoderName().toUtf8().constData(),
              fps, duration);
  std::printf("frames fed %d, dropped %d (%.2f %%), no free buffer %d\n", fed,
              recorder.droppedFrames(), 100.0 * recorder.droppedFrames() / std::max(fed, 1),
              noBuffer);
  std::printf("cpu %.2f cores per recorded second (painting frames included)\n", cpu / seconds);
  std::printf("finish %.3f s, flatten %.3f s, file %.1f MB\n", finishSeconds, flattenSeconds,
              double(QFile(take).size()) / 1e6);
  QFile::remove(take);
  return 0;
}
