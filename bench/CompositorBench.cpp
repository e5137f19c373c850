// SPDX-License-Identifier: GPL-3.0-or-later
// Compose timings for every layout × style at full and preview scale, plus the measurements
// that chose the pixel engine (one card's scaling with each candidate). Each compose is counted
// for heap allocations: the steady state must make none.
#include "devtools/CompositorBenchmark.h"
#include "render/Scaler.h"

#include <QGuiApplication>
#include <QPainter>

#include <benchmark/benchmark.h>
#include <libyuv/scale_argb.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> allocations{0};

}  // namespace

void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace vorn {
namespace {

CompositorBenchmark& shared() {
  static CompositorBenchmark benchmark;
  return benchmark;
}

void compose(benchmark::State& state, std::size_t index, double scale) {
  CompositorBenchmark& bench = shared();
  for (int i = 0; i < 3; ++i) bench.composeOnce(index, scale);  // bake the shapes
  const long before = allocations.load();
  for (auto _ : state) bench.composeOnce(index, scale);
  state.counters["allocations/frame"] =
      double(allocations.load() - before) / double(std::max<benchmark::IterationCount>(state.iterations(), 1));
}

// The card of the floating screen layout (968 × 1270) from a 1098 × 1440 part of the desktop:
// how each candidate engine scales it.
struct CardInputs {
  FrameRef source = frameFromImage(sampleDisplayPicture(), QRect(731, 0, 1098, 1440));
  FrameBuffer target{968, 1270};
};

CardInputs& cardInputs() {
  static CardInputs inputs;
  return inputs;
}

void cardWithQPainterSmooth(benchmark::State& state) {
  CardInputs& in = cardInputs();
  const QImage source = in.source->image();
  QImage target = in.target.image();
  for (auto _ : state) {
    QPainter painter(&target);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRect(0, 0, 968, 1270), source);
  }
}

void cardWithLibyuvBox(benchmark::State& state) {
  CardInputs& in = cardInputs();
  for (auto _ : state) {
    libyuv::ARGBScale(in.source->data(), in.source->stride(), 1098, 1440, in.target.data(),
                      in.target.stride(), 968, 1270, libyuv::kFilterBox);
  }
}

void cardWithScaler(benchmark::State& state) {
  CardInputs& in = cardInputs();
  Scaler scaler;
  for (auto _ : state) {
    scaler.prepare(*in.source, {0, 0, 1098, 1440}, {0, 0, 968, 1270}, {0, 0, 968, 1270}, false);
    for (int y = 0; y < 1270; ++y) {
      scaler.beginRow(y);
      scaler.columns(0, 968, in.target.row(y));
    }
  }
}

void registerAll() {
  const auto& cases = shared().cases();
  for (double scale : CompositorBenchmark::scales) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
      const std::string name = "compose/" + cases[i].name.toStdString() +
                               (scale == 1.0 ? "/full" : "/preview");
      benchmark::RegisterBenchmark(name.c_str(), [i, scale](benchmark::State& state) {
        compose(state, i, scale);
      })->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->Repetitions(5)->ReportAggregatesOnly(true);
    }
  }
  benchmark::RegisterBenchmark("card968x1270/qpainter-smooth", cardWithQPainterSmooth)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
  benchmark::RegisterBenchmark("card968x1270/libyuv-box", cardWithLibyuvBox)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
  benchmark::RegisterBenchmark("card968x1270/scaler", cardWithScaler)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
}

}  // namespace
}  // namespace vorn

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QGuiApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  vorn::registerAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
