// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "render/Compositor.h"
#include "devtools/SampleScenes.h"

#include <QString>

#include <vector>

namespace vorn {

// The compositor's measurement, shared by the Google Benchmark program and the VORN_BENCH
// switch of the vorn executable: every layout × style from a crop of a 2560 × 1440 desktop and a
// 1920 × 1080 camera frame, at full scale (recording) and half scale (preview).
class CompositorBenchmark {
 public:
  static constexpr double scales[] = {1.0, 0.5};

  // Builds the sample inputs; a QGuiApplication must exist (the screen picture is drawn text).
  CompositorBenchmark();

  const std::vector<SampleCase>& cases() const { return cases_; }
  // Composes one frame of case `index` at `scale` into a pooled buffer.
  void composeOnce(std::size_t index, double scale);

  struct Timing {
    QString name;
    double scale = 0;
    double minimumMs = 0;
    double medianMs = 0;
    double p90Ms = 0;
  };
  // Composes each case `frames` times at each scale (after a few unmeasured frames that bake the
  // shapes) and returns the fastest, the median and the 90th percentile of each (processor time
  // of the composing thread).
  std::vector<Timing> measure(int frames);

 private:
  Compositor compositor_;
  std::vector<SampleCase> cases_;
};

// VORN_BENCH: runs the measurement and prints one line per case instead of starting the app.
int runCompositorBenchmark(int argc, char** argv);

}  // namespace vorn
