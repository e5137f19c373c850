// SPDX-License-Identifier: GPL-3.0-or-later
// Audio/video drift over a long take. A synthetic take (host times made up, so it runs much
// faster than real time) carries two "claps": a white frame and a click in the microphone at
// the same host time, near the start and near the end. The sound card's clock runs `ppm`
// fast against the host clock and its buffer stamps jitter by ±3 ms, as capture stamps do.
//   recorder_drift [FPS=60] [MINUTES=10] [PPM=100] [FOLDER]
// Prints the audio − video offset of each clap in the written file and their difference.

#include "base/Av.h"
#include "record/Recorder.h"
#include "support/DecodeStream.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

using namespace vorn;

namespace {

constexpr double start = 1000.0;

std::string local(const QString& path) { return QFile::encodeName(path).toStdString(); }

void paint(FrameBuffer& frame, std::uint8_t level) {
  for (int y = 0; y < frame.height(); ++y) std::fill_n(frame.row(y), frame.width() * 4, level);
}

// Written times (seconds) of the brightest frames, one per clap window.
std::vector<double> flashTimes(const QString& take, const std::vector<double>& claps) {
  av::Input input = av::openInput(local(take));
  const AVStream* stream = input->streams[0];
  std::vector<double> best(claps.size(), -1), bestLevel(claps.size(), -1);
  test::decodeStream(input.get(), 0, [&](const AVFrame& frame) {
    const double t = frame.best_effort_timestamp * av_q2d(stream->time_base);
    const double level = frame.data[0][frame.linesize[0] * 960 + 540];
    for (std::size_t c = 0; c < claps.size(); ++c)
      if (std::abs(t - claps[c]) < 0.5 && level > bestLevel[c]) bestLevel[c] = level, best[c] = t;
  });
  return best;
}

// Written times of the loudest sample near each clap.
std::vector<double> clickTimes(const QString& take, const std::vector<double>& claps) {
  av::Input input = av::openInput(local(take));
  const AVStream* stream = input->streams[1];
  std::vector<double> best(claps.size(), -1), bestLevel(claps.size(), -1);
  test::decodeStream(input.get(), 1, [&](const AVFrame& frame) {
    const double first = frame.best_effort_timestamp * av_q2d(stream->time_base);
    const auto* samples = reinterpret_cast<const float*>(frame.extended_data[0]);
    for (int i = 0; i < frame.nb_samples; ++i) {
      const double t = first + i / 48000.0;
      for (std::size_t c = 0; c < claps.size(); ++c)
        if (std::abs(t - claps[c]) < 0.5 && std::abs(samples[i]) > bestLevel[c])
          bestLevel[c] = std::abs(samples[i]), best[c] = t;
    }
  });
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  const int fps = argc > 1 ? std::atoi(argv[1]) : 60;
  const double minutes = argc > 2 ? std::atof(argv[2]) : 10;
  const double ppm = argc > 3 ? std::atof(argv[3]) : 100;
  const QString folder = argc > 4 ? QString::fromLocal8Bit(argv[4]) : QDir::tempPath();
  const QString take = QDir(folder).filePath("bench-drift.mp4");
  QFile::remove(take);
  const double length = minutes * 60;
  const std::vector<double> claps = {2.0, length - 3.0};  // written times = host − start

  Recorder recorder(take, fps, true, false);
  if (!recorder.begin(start)) return 1;
  std::mt19937 random(5);
  std::uniform_real_distribution<double> jitter(-0.003, 0.003);
  const double deviceRate = 48000 * (1 + ppm * 1e-6);  // samples per host second
  std::int64_t sample = 0;
  int buffers = 0;
  // Video: one frame a second, and every frame slot around each clap.
  for (int slot = 0; double(slot) / fps < length; ++slot) {
    const double t = double(slot) / fps;
    bool nearClap = false, onClap = false;
    for (double clap : claps) {
      nearClap = nearClap || std::abs(t - clap) < 0.3;
      onClap = onClap || std::llround(t * fps) == std::llround(clap * fps);
    }
    // Audio up to this frame's time, stamped with the device clock's view of host time.
    while (double(sample) / deviceRate < t) {
      auto buffer = std::make_shared<AudioBuffer>();
      buffer->samples.assign(480, 0.0f);
      for (int i = 0; i < 480; ++i) {
        const double hostTime = double(sample + i) / deviceRate;
        for (double clap : claps)
          if (std::llround(hostTime * 48000) == std::llround(clap * 48000)) buffer->samples[i] = 0.9f;
      }
      const double stamp = start + double(sample) / deviceRate + jitter(random);
      buffer->pts = stamp;
      recorder.appendAudio(buffer, stamp, false);
      sample += 480;
      if (++buffers % 100 == 0) recorder.drain();
    }
    if (slot % fps != 0 && !nearClap) continue;
    FrameRef frame = recorder.pool()->take();
    paint(*frame, onClap ? 235 : 20);
    recorder.appendVideo(frame, start + t);
    recorder.drain();
  }
  const double duration = recorder.finish();
  const auto flashes = flashTimes(take, claps);
  const auto clicks = clickTimes(take, claps);
  std::printf("%.0f s take at %d fps, sound card %+.0f ppm, stamps jitter ±3 ms\n", duration, fps,
              ppm);
  for (std::size_t c = 0; c < claps.size(); ++c)
    std::printf("clap at %.3f s: video %.4f s, audio %.4f s, offset %+.2f ms\n", claps[c],
                flashes[c], clicks[c], 1000 * (clicks[c] - flashes[c]));
  const double drift = (clicks[1] - flashes[1]) - (clicks[0] - flashes[0]);
  std::printf("drift over the take %+.2f ms (%.2f frames at %d fps)\n", 1000 * drift,
              std::abs(drift) * fps, fps);
  if (!qEnvironmentVariableIsSet("VORN_KEEP_TAKE")) QFile::remove(take);
  return 0;
}
