// SPDX-License-Identifier: GPL-3.0-or-later
// The phone monitor's timings on a private Xvfb display and PulseAudio server:
//   paint       one preview frame painted into the phone (GUI thread, repaint to flush)
//   glass       a window on the screen changes colour → the phone's paint shows the change
//               (another client's window, from when the server has its new colour to the
//               monitor's paint)
//   playback    a 1080 × 1920, 30 fps take looping in the phone with its sound: the process's
//               CPU over the window and the pictures that reached the phone
//   prompter    the island scrolling a long script at 60 Hz: GUI-thread time per tick (the
//               island's tick and its paint), ticks missed, and repaints while nothing changes
//
// usage: monitor_bench [PLAYBACK_SECONDS] [PROMPTER_SECONDS]   (defaults 10 and 60)

#include "BenchLoop.h"
#include "BenchStudio.h"
#include "app/BackendChoice.h"
#include "engine/Engine.h"
#include "base/Clock.h"
#include "monitor/IslandView.h"
#include "monitor/IslandWindow.h"
#include "monitor/MonitorWindow.h"
#include "monitor/PhoneView.h"
#include "reels/ReelMaker.h"
#include "render/Compositor.h"
#include "devtools/SampleScenes.h"
#include "support/ChildProcess.h"
#include "support/OtherWindow.h"
#include "support/TestServices.h"

#include <QApplication>
#include <QDir>
#include <QTimer>
#include <QWidget>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

using namespace vorn;

namespace {

using namespace bench;

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void benchPaint(MonitorWindow& monitor) {
  Compositor compositor;
  const double scale = monitor.previewWidth() / 1080.0;
  const std::vector<SampleCase> cases = sampleCases(sampleDisplayPicture(), sampleCameraPicture());
  std::vector<ConstFrameRef> frames;
  for (int i = 0; i < 2; ++i) {
    FrameRef frame = compositor.previewBuffer(scale);
    compositor.compose(cases[size_t(i)].scene, cases[size_t(i)].screen.get(), cases[size_t(i)].camera.get(), scale, *frame);
    frames.push_back(frame);
  }
  std::vector<double> times;
  for (int i = 0; i < 600; ++i) {
    monitor.showFrame(frames[size_t(i % 2)]);
    const auto start = Clock::now();
    monitor.phone()->repaint();
    times.push_back(ms(Clock::now() - start));
    QCoreApplication::processEvents();
  }
  printSpread("paint one preview frame into the phone", times);
}

void benchGlass(Engine& engine, MonitorWindow& monitor) {
  // Another application's window: the studio's own windows never reach the preview.
  test::OtherWindow counter(QRect(200, 100, 600, 1000), Qt::black);
  within(1, [] { return false; });
  engine.setHome({200, 100, 540, 960});
  within(1, [] { return false; });
  std::vector<double> delays;
  const QColor colours[] = {QColor(220, 30, 30), QColor(30, 30, 220)};
  for (int i = 0; i < 40; ++i) {
    const QColor want = colours[i % 2];
    counter.paint(want);
    counter.sync();
    const auto changed = Clock::now();
    const bool seen = within(1, [&] {
      const ConstFrameRef& frame = monitor.phone()->frame();
      if (!frame) return false;
      const QColor c = frame->image().pixelColor(frame->width() / 2, frame->height() / 2);
      return std::abs(c.red() - want.red()) < 30 && std::abs(c.blue() - want.blue()) < 30;
    });
    if (seen) {
      monitor.phone()->repaint();  // the monitor's own paint of the changed frame
      delays.push_back(ms(Clock::now() - changed));
    }
    within(0.1, [] { return false; });
  }
  printSpread("glass to glass, counter window to the phone's paint", delays);
}

void benchPlayback(Engine& engine, MonitorWindow& monitor, double seconds) {
  const std::string take = QDir::homePath().toStdString() + "/review.mp4";
  test::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=s=1080x1920:r=30:d=20", "-f",
                    "lavfi", "-i", "sine=frequency=330:duration=20", "-c:v", "libx264", "-preset", "veryfast",
                    "-pix_fmt", "yuv420p", "-c:a", "aac", "-shortest", take});
  {
    const double before = cpuSeconds();
    within(5, [] { return false; });
    std::printf("the studio framing a still screen, for comparison: %.1f %% of a core\n", 100 * (cpuSeconds() - before) / 5);
  }
  engine.review({QUrl::fromLocalFile(QString::fromStdString(take)), 20});
  within(1.5, [] { return false; });  // settled
  const long shownBefore = monitor.phone()->player().shown();
  const long skippedBefore = monitor.phone()->player().skipped();
  const double cpuBefore = cpuSeconds();
  const auto start = Clock::now();
  within(seconds, [] { return false; });
  const double wall = ms(Clock::now() - start) / 1000;
  const double cpu = cpuSeconds() - cpuBefore;
  const long shown = monitor.phone()->player().shown() - shownBefore;
  std::printf("review playback, 1080 x 1920 at 30 fps, %.1f s: %.1f %% of a core, %ld pictures (%.1f/s, %s), %ld skipped\n",
              wall, 100 * cpu / wall, shown, shown / wall,
              monitor.phone()->player().audible() ? "with sound" : "silent",
              monitor.phone()->player().skipped() - skippedBefore);
}

void benchPrompter(Studio& studio, IslandWindow& island, double seconds) {
  QString script;
  for (int i = 0; i < 200; ++i) script += QStringLiteral("Line %1 of the script, a sentence long enough to wrap once or twice. ").arg(i);
  studio.updatePrefs([&](Prefs& p) {
    p.script = script;
    p.prompterSpeed = 40;
  });
  studio.setPhase(Phase::recording);
  studio.setRecordStart(mediaTime());
  island.show();
  within(1, [] { return false; });
  IslandView& view = *island.view();
  // The island's own timer drives it as in the studio; each tick is timed on the GUI thread.
  std::vector<double> costs;
  long missed = 0;
  auto last = Clock::now();
  QTimer ticks;
  ticks.setTimerType(Qt::PreciseTimer);
  QObject::connect(&ticks, &QTimer::timeout, [&] {
    const auto start = Clock::now();
    if (ms(start - last) > 1.5 * 1000.0 / 60) ++missed;
    last = start;
    if (view.tick(mediaTime())) view.repaint();
    costs.push_back(ms(Clock::now() - start));
  });
  last = Clock::now();
  ticks.start(16);
  within(seconds, [] { return false; });
  ticks.stop();
  printSpread("prompter tick on the GUI thread (tick and paint)", costs);
  std::printf("prompter ticks missed over %.0f s: %ld of %zu\n", seconds, missed, costs.size());

  studio.setPausedAt(mediaTime());
  within(0.5, [] { return false; });
  const long paints = view.paints();
  within(2, [] { return false; });
  std::printf("island paints over 2 s with nothing changing (paused): %ld\n", view.paints() - paints);
  island.fadeOut();
  studio.setPhase(Phase::framing);
}

}  // namespace

int main(int argc, char** argv) {
  const double playbackSeconds = argc > 1 ? std::atof(argv[1]) : 10;
  const double prompterSeconds = argc > 2 ? std::atof(argv[2]) : 60;
  test::startServices(true, true);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  {
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Vorn"));
    QApplication::setApplicationName(QStringLiteral("Vorn"));
    Studio studio;
    bench::screenOnly(studio);
    studio.updatePrefs([](Prefs& p) { p.platform = Platform::reels; });
    ReelMaker reels(studio);
    StudioWindows windows;
    auto owned = std::make_unique<MonitorWindow>(studio);
    MonitorWindow& monitor = *owned;
    windows.monitor = std::move(owned);
    auto ownedIsland = std::make_unique<IslandWindow>(studio, nullptr);
    IslandWindow& island = *ownedIsland;
    windows.island = std::move(ownedIsland);
    const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
    platform->openDesktop();
    Engine engine(studio, &reels, platform->forEngine(), std::move(windows));
    monitor.attach(engine);
    island.attach(engine);
    engine.openAndWait();
    within(5, [&] { return monitor.phone()->frame() != nullptr; });
    benchPaint(monitor);
    benchGlass(engine, monitor);
    benchPlayback(engine, monitor, playbackSeconds);
    engine.recording().retake();
    benchPrompter(studio, island, prompterSeconds);
    engine.closeAndWait();
  }
  test::stopServices();
  return 0;
}
