// SPDX-License-Identifier: GPL-3.0-or-later
// A recording process for the crash test: records synthetic frames and a microphone tone in
// real time into the take given on the command line until it is killed (or 60 s pass).
// After `begin` it writes the session's start time to "<take>.began".

#include "base/Clock.h"
#include "record/Recorder.h"
#include "support/MovieProbe.h"

#include <QFile>
#include <QString>

#include <chrono>
#include <cstdio>
#include <thread>

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: recorder_child TAKE FPS\n");
    return 2;
  }
  const QString take = QString::fromLocal8Bit(argv[1]);
  const int fps = std::atoi(argv[2]);
  vorn::Recorder recorder(take, fps, true, false);
  const double start = vorn::mediaTime();
  if (!recorder.begin(start)) return 1;
  QFile marker(take + ".began");
  if (!marker.open(QIODevice::WriteOnly)) return 1;
  marker.write(QByteArray::number(start, 'f', 6));
  marker.close();
  using clock = std::chrono::steady_clock;
  const auto first = clock::now();
  for (int i = 0; i < 60 * fps; ++i) {
    std::this_thread::sleep_until(first + std::chrono::microseconds(1'000'000LL * i / fps));
    const double now = vorn::mediaTime();
    recorder.appendAudio(vorn::test::tone(1, 1.0 / fps, 440, now), now, false);
    recorder.appendVideo(vorn::test::syntheticFrame(recorder, i), now);
  }
  recorder.finish();
  return 0;
}
