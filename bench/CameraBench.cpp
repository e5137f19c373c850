// SPDX-License-Identifier: GPL-3.0-or-later
// Camera and microphone costs: MJPEG decode of a 1080p camera frame, one face detection on a
// 1080p frame (three cascades compared), and the timing of microphone buffers recorded from
// a private PulseAudio server.
#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <cmath>
#include <cstring>
#include <mutex>
#include <numeric>

#include "base/Clock.h"
#include "capture/CameraDecode.h"
#include "capture/CameraSource.h"
#include "capture/CaptureTestSupport.h"
#include "capture/FaceDetector.h"
#include "support/PipeMicrophone.h"
#include "capture/SampleCamera.h"
#include "platform/pulse/PulseSoundServer.h"
#include "support/TestServices.h"

using namespace vorn;

namespace {

// The sample face, 1080 pixels tall, in the middle of a 1920 × 1080 camera picture.
QImage cameraPicture() {
  QImage picture(1920, 1080, QImage::Format_ARGB32_Premultiplied);
  picture.fill(QColor(90, 80, 70));
  QPainter painter(&picture);
  painter.drawImage(QRect(420, 0, 1080, 1080), QImage(SampleCamera::builtInPath));
  return picture;
}

// What a webcam sends: 4:2:2 JPEG at quality 85.
std::vector<unsigned char> cameraJpeg() {
  const QImage picture = cameraPicture();
  tjhandle handle = tjInitCompress();
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  tjCompress2(handle, picture.constBits(), picture.width(), int(picture.bytesPerLine()),
              picture.height(), TJPF_BGRA, &jpeg, &size, TJSAMP_422, 85, 0);
  std::vector<unsigned char> bytes(jpeg, jpeg + size);
  tjFree(jpeg);
  tjDestroy(handle);
  return bytes;
}

void MjpegDecode1080p(benchmark::State& state) {
  const std::vector<unsigned char> jpeg = cameraJpeg();
  FramePool pool(1920, 1080, 3, 6);
  CameraDecoder decoder;
  for (auto _ : state) {
    FrameRef frame = pool.take();
    if (!decoder.decodeJpeg(jpeg.data(), jpeg.size(), *frame)) state.SkipWithError("decode failed");
    benchmark::DoNotOptimize(frame->data());
  }
  state.counters["jpeg_kB"] = double(jpeg.size()) / 1024;
}
BENCHMARK(MjpegDecode1080p)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);

const char* cascades[] = {
    "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt2.xml",
    "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml",
    "/usr/share/opencv4/lbpcascades/lbpcascade_frontalface_improved.xml",
};

// Hit rate: the sample face drawn so that the face is 8 % to 25 % of a 1080p picture's
// width (a webcam's range), at three places; a hit is a largest face whose centre lies in
// the true face box. `tracked` judges the second detection of each picture, which searches
// only near the face the first one found.
double hitRate(FaceDetector& detector, bool tracked) {
  int hits = 0, trials = 0;
  for (double share : {0.08, 0.12, 0.16, 0.20, 0.25})
    for (double place : {0.25, 0.5, 0.75}) {
      const test::DrawnFace face{{place * 1920, 0.4 * 1080}, share * 1920};
      const double w = face.width;
      const double h = face.width * test::sampleFaceBox.height() / test::sampleFaceBox.width();
      const Rect truth{(face.centre.x() - w / 2) / 1920, 1 - (face.centre.y() + h / 2) / 1080,
                       w / 1920, h / 1080};
      const FrameRef frame = test::frameFromImage(test::cameraPictureWithFaces({face}));
      detector.forget();
      std::optional<Rect> found = detector.largestFace(*frame);
      if (tracked) found = detector.largestFace(*frame);
      ++trials;
      if (found && truth.contains(found->center())) ++hits;
    }
  return double(hits) / trials;
}

// A full search of the whole picture, with each cascade.
void FaceDetection1080p(benchmark::State& state) {
  FaceDetector detector(cascades[state.range(0)]);
  const FrameRef frame = test::frameFromImage(cameraPicture());
  for (auto _ : state) {
    detector.forget();
    benchmark::DoNotOptimize(detector.largestFace(*frame));
  }
  state.counters["hit_rate"] = hitRate(detector, false);
  state.SetLabel(std::strrchr(cascades[state.range(0)], '/') + 1);
}
BENCHMARK(FaceDetection1080p)
    ->DenseRange(0, 2)
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

// What "vorn.vision" spends a detection while a face stays in view: mostly searches near the
// last face, a full search every FaceDetector::fullSearchEvery detections.
void FaceTracking(benchmark::State& state, QImage picture) {
  FaceDetector detector;
  const FrameRef frame = test::frameFromImage(picture);
  for (auto _ : state) benchmark::DoNotOptimize(detector.largestFace(*frame));
  state.counters["hit_rate"] = hitRate(detector, true);
}
BENCHMARK_CAPTURE(FaceTracking, 1080p, cameraPicture())
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(FaceTracking, sample_camera, QImage(SampleCamera::builtInPath))
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

// Five seconds of a microphone fed at real time; counters in milliseconds: how far each
// buffer's stamp is from 10 ms after the previous one (worst and standard deviation), and
// the spread of the delay from a buffer's first sample to its arrival in onMic.
void MicTimestampJitter(benchmark::State& state) {
  test::PipeMicrophone mic("vbenchmic");
  if (!mic.ok()) return state.SkipWithError("no pipe microphone");
  std::mutex mutex;
  std::vector<double> stamps, arrivals;
  for (auto _ : state) {
    PulseSoundServer sound;
    CameraSource source{sound, SampleCamera::builtInPath};
    source.onMic = [&](AudioRef buffer) {
      const double now = mediaTime();
      std::lock_guard guard(mutex);
      stamps.push_back(buffer->pts);
      arrivals.push_back(now);
    };
    source.configure(std::nullopt,
                     DeviceInfo{QStringLiteral("vbenchmic"), QStringLiteral("Bench")});
    source.sync();
    mic.play(5.0, 0.3);
    source.configure(std::nullopt, std::nullopt);
    source.sync();
  }
  std::lock_guard guard(mutex);
  if (stamps.size() < 10) return state.SkipWithError("too few buffers");
  double worst = 0, sumSquares = 0;
  // The first buffers carry the stream's start-up; judge the steady state.
  const size_t first = 10;
  for (size_t i = first; i < stamps.size(); ++i) {
    const double error = (stamps[i] - stamps[i - 1]) - 0.01;
    worst = std::max(worst, std::abs(error));
    sumSquares += error * error;
  }
  double minimumDelay = 1e9, maximumDelay = -1e9;
  for (size_t i = first; i < stamps.size(); ++i) {
    minimumDelay = std::min(minimumDelay, arrivals[i] - stamps[i]);
    maximumDelay = std::max(maximumDelay, arrivals[i] - stamps[i]);
  }
  state.counters["buffers"] = double(stamps.size());
  state.counters["step_err_max_ms"] = worst * 1000;
  state.counters["step_err_sd_ms"] = std::sqrt(sumSquares / double(stamps.size() - first)) * 1000;
  state.counters["delay_min_ms"] = minimumDelay * 1000;
  state.counters["delay_max_ms"] = maximumDelay * 1000;
}
BENCHMARK(MicTimestampJitter)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  vorn::test::startServices(false, true);
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QGuiApplication app(argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  vorn::test::stopServices();
  return 0;
}
