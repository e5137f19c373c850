// SPDX-License-Identifier: GPL-3.0-or-later
// The render loop's cost while previewing (not recording): a 2560 × 1440 text-like sample
// display, the sample camera's picture and the screen / floating layout.
//   BM_TickUnchanged: nothing changed since the last frame, so nothing is drawn.
//   BM_TickPreviewFrame: the mirror flips every tick, so every tick draws a preview frame.
// The "rendered" counter is frames drawn per tick.

#include "ScreenLikeFrames.h"
#include "capture/CameraSource.h"
#include "capture/SampleCamera.h"
#include "capture/SampleScreenBackend.h"
#include "platform/pulse/PulseSoundServer.h"
#include "capture/ScreenSource.h"
#include "engine/HomeFrame.h"
#include "engine/RenderLoop.h"
#include "model/Prefs.h"
#include "render/Compositor.h"
#include "model/Geometry.h"

#include <QCoreApplication>
#include <QImage>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

namespace vorn {
namespace {

template <class Ready>
void waitFor(Ready ready) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!ready()) {
    if (std::chrono::steady_clock::now() > deadline)
      throw std::runtime_error("a sample source sent no picture");
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

// Everything a previewing loop reads, with the camera held on one picture so that only what
// the benchmark changes differs between ticks.
class PreviewRig {
 public:
  PreviewRig() {
    const QString picture = folder_.filePath(QStringLiteral("display.png"));
    FrameBuffer frame(2560, 1440);
    bench::ScreenLikeFrames(2560, 1440).paint(frame, 0);
    const QImage image(frame.data(), frame.width(), frame.height(), int(frame.stride()),
                       QImage::Format_ARGB32_Premultiplied);
    if (!image.save(picture)) throw std::runtime_error("can't write the sample display");
    screen_ = std::make_unique<ScreenSource>(
        std::make_unique<SampleScreenBackend>(picture.toStdString()));
    screen_->start(0);
    waitFor([&] { return screen_->latest.get().has_value(); });

    camera_.configure(SampleCamera::info(), std::nullopt);
    camera_.sync();
    waitFor([&] { return camera_.latest.get().buffer != nullptr; });
    const CameraFrame still = camera_.latest.get();
    camera_.stop();
    camera_.sync();
    camera_.latest.set(still);

    Prefs prefs;
    prefs.layout = Layout::screen;
    prefs.style = FrameStyle::floating;
    prefs.cameraOn = true;
    inputs_.displaySize = screen_->displaySize();
    inputs_.home = HomeFrame::restore(prefs, inputs_.displaySize);
    inputs_.aspect = HomeFrame::aspect(prefs);
    inputs_.slots = Geometry::slots(prefs);
    inputs_.fps = 60;
    loop_ = std::make_unique<RenderLoop>(compositor_, *screen_, camera_);
    loop_->inputs.set(inputs_);
    // The loop asks once for the capture area around home; let the new capture arrive.
    for (int i = 0; i < 200; ++i) {
      loop_->tick();
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  RenderLoop& loop() { return *loop_; }
  RenderInputs& inputs() { return inputs_; }

 private:
  QTemporaryDir folder_;
  Compositor compositor_;
  PulseSoundServer sound_;
  CameraSource camera_{sound_, SampleCamera::builtInPath};
  std::unique_ptr<ScreenSource> screen_;
  RenderInputs inputs_;
  std::unique_ptr<RenderLoop> loop_;
};

PreviewRig& rig() {
  static PreviewRig instance;
  return instance;
}

void BM_TickUnchanged(benchmark::State& state) {
  RenderLoop& loop = rig().loop();
  loop.tick();
  const long before = loop.renderedFrames();
  for (auto _ : state) loop.tick();
  state.counters["rendered"] =
      benchmark::Counter(double(loop.renderedFrames() - before), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_TickUnchanged)->Unit(benchmark::kMicrosecond);

void BM_TickPreviewFrame(benchmark::State& state) {
  RenderLoop& loop = rig().loop();
  RenderInputs& in = rig().inputs();
  const long before = loop.renderedFrames();
  for (auto _ : state) {
    in.mirror = !in.mirror;
    loop.inputs.set(in);
    loop.tick();
  }
  state.counters["rendered"] =
      benchmark::Counter(double(loop.renderedFrames() - before), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_TickPreviewFrame)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vorn

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);  // the capture's queued hand-offs need one
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
