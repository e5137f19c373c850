// SPDX-License-Identifier: GPL-3.0-or-later
// BGRA → YUV 4:2:0 BT.709 of one 1080 × 1920 frame: our conversion against libswscale's.
#include "ScreenLikeFrames.h"
#include "record/Yuv709.h"

#include <benchmark/benchmark.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <vector>

namespace {

constexpr int width = 1080, height = 1920;

struct Picture {
  Picture() : frame(width, height), y(width * height), u(width * height / 4), v(width * height / 4) {
    vorn::bench::ScreenLikeFrames(width, height).paint(frame, 0);
  }
  vorn::FrameBuffer frame;
  std::vector<std::uint8_t> y, u, v;
};

void BM_Bgra709(benchmark::State& state) {
  Picture picture;
  for (auto _ : state) {
    vorn::bgraToYuv709(picture.frame.data(), picture.frame.stride(), width, height,
                       {picture.y.data(), width, picture.u.data(), width / 2, picture.v.data(),
                        width / 2});
    benchmark::DoNotOptimize(picture.y.data());
  }
}
BENCHMARK(BM_Bgra709)->Unit(benchmark::kMillisecond);

void BM_Bgra709Libswscale(benchmark::State& state) {
  Picture picture;
  SwsContext* context = sws_getContext(width, height, AV_PIX_FMT_BGRA, width, height,
                                       AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr);
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  sws_setColorspaceDetails(context, bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
  const std::uint8_t* source[] = {picture.frame.data()};
  const int sourceStride[] = {picture.frame.stride()};
  std::uint8_t* target[] = {picture.y.data(), picture.u.data(), picture.v.data()};
  const int targetStride[] = {width, width / 2, width / 2};
  for (auto _ : state) {
    sws_scale(context, source, sourceStride, 0, height, target, targetStride);
    benchmark::DoNotOptimize(picture.y.data());
  }
  sws_freeContext(context);
}
BENCHMARK(BM_Bgra709Libswscale)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
