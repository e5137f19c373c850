// SPDX-License-Identifier: GPL-3.0-or-later
// Screen capture costs under a private Xvfb. Needs Xvfb and ffplay (package ffmpeg), which
// paints moving pictures onto the display from its own process.
//
//   build/bench/screen_bench
//
// Each case runs the capture for a few seconds and reports the CPU time of this process per
// second of capture (cpu_percent: percent of one core) and the frames delivered per second.

#include "capture/ScreenSource.h"
#include "platform/x11/X11ScreenBackend.h"
#include "support/TestServices.h"

#include <QRect>
#include <QRegion>
#include <benchmark/benchmark.h>
#include <xcb/xcb.h>
#include <xcb/shape.h>
#include <libyuv/scale_argb.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <atomic>
#include <fstream>
#include <unistd.h>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vorn {
namespace {

constexpr double measureSeconds = 5.0;

// A private Xvfb of the given size; DISPLAY points at it while it lives.
class Display {
 public:
  Display(int width, int height, std::vector<std::string> options = {})
      : server_(width, height, std::move(options)) {}
  pid_t serverPid() const { return server_.pid(); }

  // Plays a moving test picture of the given size at (0, 0), 60 pictures a second.
  void play(int width, int height) {
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    player_ = std::make_unique<test::ChildProcess>(std::vector<std::string>{
        "ffplay", "-loglevel", "error", "-an", "-noborder", "-left", "0", "-top", "0", "-f",
        "lavfi", "-i",
        "testsrc2=size=" + std::to_string(width) + "x" + std::to_string(height) + ":rate=60"});
    std::this_thread::sleep_for(std::chrono::seconds(2));  // until it paints
  }
  void stopPlaying() { player_.reset(); }

 private:
  test::XServer server_;
  std::unique_ptr<test::ChildProcess> player_;
};

// The X11 backend with every delivered frame counted.
class CountingBackend : public X11ScreenBackend {
 public:
  void start(const DisplayInfo& display, const ScreenConfig& config, OwnClient own,
             ScreenSinks sinks) override {
    auto deliver = std::move(sinks.onFrame);
    sinks.onFrame = [this, deliver](FrameRef frame, const ScreenConfig& grabbed, double at) {
      frames.fetch_add(1);
      deliver(std::move(frame), grabbed, at);
    };
    X11ScreenBackend::start(display, config, own, std::move(sinks));
  }
  std::atomic<int> frames{0};
};

// A window of Vorn's over the area, from a client of its own, which the capture leaves out.
class OwnCover {
 public:
  // `hole`, in the window's own pixels, is cut out of its shape (as the dim's hole is).
  explicit OwnCover(QRect where, QRect hole = {}) : connection_(xcb_connect(nullptr, nullptr)) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    const xcb_window_t window = xcb_generate_id(connection_);
    const uint32_t values[] = {0x202020, 1};
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, screen->root, int16_t(where.x()),
                      int16_t(where.y()), uint16_t(where.width()), uint16_t(where.height()), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    if (!hole.isEmpty()) {
      std::vector<xcb_rectangle_t> shape;
      for (const QRect& r : QRegion(0, 0, where.width(), where.height()) - hole)
        shape.push_back({int16_t(r.x()), int16_t(r.y()), uint16_t(r.width()), uint16_t(r.height())});
      xcb_shape_rectangles(connection_, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED,
                           window, 0, 0, uint32_t(shape.size()), shape.data());
    }
    xcb_map_window(connection_, window);
    xcb_flush(connection_);
  }
  ~OwnCover() { xcb_disconnect(connection_); }
  OwnClient client() const {
    const xcb_setup_t* setup = xcb_get_setup(connection_);
    return {setup->resource_id_base, setup->resource_id_mask};
  }

 private:
  xcb_connection_t* connection_;
};

double processSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec + now.tv_nsec * 1e-9;
}

// CPU seconds the process `pid` has used (user and system).
double processSeconds(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string field;
  // The command name may hold spaces: count from the closing parenthesis.
  std::getline(stat, field, ')');
  for (int i = 0; i < 11; ++i) stat >> field;
  long user = 0, system = 0;
  stat >> user >> system;
  return double(user + system) / double(sysconf(_SC_CLK_TCK));
}

void waitFor(const std::function<bool()>& condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition() && std::chrono::steady_clock::now() < limit)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

// Captures `area` for measureSeconds and reports CPU and frame rate.
void measure(benchmark::State& state, const Display& display, Rect area, OwnClient own = {}) {
  auto backend = std::make_unique<CountingBackend>();
  CountingBackend& counting = *backend;
  ScreenSource source(std::move(backend));
  source.leaveOut(own);
  source.start(0);
  waitFor([&] {
    if (source.requested.get()->rect != area) source.request(area, false);
    const auto frame = source.latest.get();
    return frame && frame->rect == area;
  });
  for (auto _ : state) {
    const int framesBefore = counting.frames.load();
    const double cpuBefore = processSeconds();
    const double serverBefore = processSeconds(display.serverPid());
    const auto wallBefore = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(measureSeconds));
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallBefore).count();
    state.counters["cpu_percent"] = 100 * (processSeconds() - cpuBefore) / wall;
    // The X server's share: redirected windows cost it a copy of what they draw.
    state.counters["server_cpu_percent"] =
        100 * (processSeconds(display.serverPid()) - serverBefore) / wall;
    state.counters["fps"] = (counting.frames.load() - framesBefore) / wall;
  }
  source.stop();
}

// A small moving picture inside the area marks it all changed on every tick, so every tick
// grabs the whole area (a full-size player could not paint 60 pictures a second here).
void BM_Moving1280x720(benchmark::State& state) {
  Display display(1920, 1080);
  display.play(320, 240);
  measure(state, display, {0, 0, 1280, 720});
}

// The same on a server without the Composite extension: one grab of the screen and no
// redirected windows, as before Vorn's windows were left out by construction.
void BM_Moving1280x720WithoutComposite(benchmark::State& state) {
  Display display(1920, 1080, {"-extension", "Composite"});
  display.play(320, 240);
  measure(state, display, {0, 0, 1280, 720});
}

// Vorn's island over the top of the area: that band is built from the windows below.
void BM_Moving1280x720UnderIsland(benchmark::State& state) {
  Display display(1920, 1080);
  display.play(320, 240);
  OwnCover island(QRect(340, 0, 600, 140));
  measure(state, display, {0, 0, 1280, 720}, island.client());
}

// A window of Vorn's over the whole screen (like the viewfinder's dim): the whole area is
// built from the other windows' pictures.
void BM_Moving1280x720UnderFullCover(benchmark::State& state) {
  Display display(1920, 1080);
  display.play(320, 240);
  OwnCover cover(QRect(0, 0, 1920, 1080));
  measure(state, display, {0, 0, 1280, 720}, cover.client());
}

// The same window with the capture area cut out of its shape, as the dim has while framing
// and recording: nothing of Vorn's over the area, so one plain grab.
void BM_Moving1280x720InTheDimsHole(benchmark::State& state) {
  Display display(1920, 1080);
  display.play(320, 240);
  OwnCover cover(QRect(0, 0, 1920, 1080), QRect(0, 0, 1280, 720));
  measure(state, display, {0, 0, 1280, 720}, cover.client());
}

void BM_Unchanged1280x720(benchmark::State& state) {
  Display display(1920, 1080);
  display.play(1280, 720);
  display.stopPlaying();  // leaves its last picture on the screen
  measure(state, display, {0, 0, 1280, 720});
}

void BM_MovingFull2560x1440(benchmark::State& state) {
  Display display(2560, 1440);
  display.play(320, 240);
  measure(state, display, {0, 0, 2560, 1440});
}

// Frames delivered from `request` until the first frame of the new area.
void BM_NewAreaInForce(benchmark::State& state) {
  Display display(1920, 1080);
  display.play(1280, 720);
  auto backend = std::make_unique<CountingBackend>();
  CountingBackend& counting = *backend;
  ScreenSource source(std::move(backend));
  source.start(0);
  waitFor([&] { return source.latest.get().has_value(); });
  int worstFrames = 0;
  double totalMs = 0, worstMs = 0;
  int switches = 0;
  for (auto _ : state) {
    for (int i = 0; i < 40; ++i) {
      const Rect area{double(10 * i), double(5 * i), double(800 + 4 * i), 600};
      waitFor([&] {
        const auto req = source.requested.get();
        return req && source.latest.get()->rect == req->rect;
      });
      const int before = counting.frames.load();
      const auto start = std::chrono::steady_clock::now();
      source.request(area, false);
      waitFor([&] { return source.latest.get()->rect == area; });
      const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
      // Frames of the old area delivered before the new one arrived, plus the new one.
      worstFrames = std::max(worstFrames, counting.frames.load() - before);
      worstMs = std::max(worstMs, ms);
      totalMs += ms;
      ++switches;
    }
  }
  state.counters["mean_ms"] = totalMs / switches;
  state.counters["worst_ms"] = worstMs;
  state.counters["worst_frames"] = worstFrames;
  source.stop();
}

// The two scalers on the same BGRA picture, 2560 × 1440 down to 1280 × 720.
void BM_ScaleLibyuvBox(benchmark::State& state) {
  FrameBuffer from(2560, 1440), to(1280, 720);
  std::fill(from.data(), from.data() + from.stride() * 1440, 0x5a);
  for (auto _ : state)
    libyuv::ARGBScale(from.data(), from.stride(), 2560, 1440, to.data(), to.stride(), 1280, 720,
                      libyuv::kFilterBox);
}

void BM_ScaleSwscaleArea(benchmark::State& state) {
  FrameBuffer from(2560, 1440), to(1280, 720);
  std::fill(from.data(), from.data() + from.stride() * 1440, 0x5a);
  SwsContext* scale = sws_getContext(2560, 1440, AV_PIX_FMT_BGRA, 1280, 720, AV_PIX_FMT_BGRA,
                                     SWS_AREA, nullptr, nullptr, nullptr);
  const uint8_t* source[4] = {from.data()};
  const int sourceStride[4] = {from.stride()};
  uint8_t* target[4] = {to.data()};
  const int targetStride[4] = {to.stride()};
  for (auto _ : state) sws_scale(scale, source, sourceStride, 0, 1440, target, targetStride);
  sws_freeContext(scale);
}

}  // namespace

BENCHMARK(BM_Moving1280x720)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_Moving1280x720WithoutComposite)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_Moving1280x720UnderIsland)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_Moving1280x720UnderFullCover)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_Moving1280x720InTheDimsHole)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_Unchanged1280x720)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_MovingFull2560x1440)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_NewAreaInForce)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_ScaleLibyuvBox)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScaleSwscaleArea)->Unit(benchmark::kMillisecond);

}  // namespace vorn

BENCHMARK_MAIN();
