// SPDX-License-Identifier: GPL-3.0-or-later
#include "devtools/CompositorBenchmark.h"

#include <QGuiApplication>

#include <algorithm>
#include <ctime>
#include <cstdio>

namespace vorn {
namespace {

constexpr int warmUpFrames = 5;
constexpr int measuredFrames = 200;

// This thread's processor time in milliseconds: on a busy machine it leaves out the time the
// thread waited for a core, which wall time would add.
double threadMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return double(now.tv_sec) * 1e3 + double(now.tv_nsec) * 1e-6;
}

double percentile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  const size_t index = std::min(values.size() - 1, size_t(share * double(values.size())));
  std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(index), values.end());
  return values[index];
}

}  // namespace

CompositorBenchmark::CompositorBenchmark()
    : cases_(sampleCases(sampleDisplayPicture(), sampleCameraPicture())) {}

void CompositorBenchmark::composeOnce(std::size_t index, double scale) {
  const SampleCase& sample = cases_[index];
  const FrameRef target = compositor_.previewBuffer(scale);
  if (!target) return;
  compositor_.compose(sample.scene, sample.screen.get(), sample.camera.get(), scale, *target);
}

std::vector<CompositorBenchmark::Timing> CompositorBenchmark::measure(int frames) {
  std::vector<Timing> timings;
  std::vector<double> samples(size_t(std::max(frames, 1)));
  for (double scale : scales) {
    for (std::size_t i = 0; i < cases_.size(); ++i) {
      for (int f = 0; f < warmUpFrames; ++f) composeOnce(i, scale);
      for (double& sample : samples) {
        const double start = threadMilliseconds();
        composeOnce(i, scale);
        sample = threadMilliseconds() - start;
      }
      timings.push_back({cases_[i].name, scale, percentile(samples, 0), percentile(samples, 0.5),
                         percentile(samples, 0.9)});
    }
  }
  return timings;
}

int runCompositorBenchmark(int argc, char** argv) {
  // Nothing is shown: no display is needed.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QGuiApplication app(argc, argv);
  CompositorBenchmark benchmark;
  std::printf("compose, one thread, %d frames each; thread CPU time in ms: fastest, median, 90th percentile\n",
              measuredFrames);
  for (const auto& timing : benchmark.measure(measuredFrames)) {
    std::printf("%-16s scale %.1f  %6.2f  %6.2f  %6.2f\n", timing.name.toUtf8().constData(),
                timing.scale, timing.minimumMs, timing.medianMs, timing.p90Ms);
  }
  std::fflush(stdout);
  return 0;
}

}  // namespace vorn
