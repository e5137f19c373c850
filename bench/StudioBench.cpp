// The studio's own timings, on a private Xvfb display and PulseAudio server with the sample
// camera: open to the first composed preview, an engine tick with nothing changed, the
// longest gap between ticks while opening, recording and stopping, and stop to review.
//
// usage: studio_bench [TAKE_SECONDS]   (default 60)

#include "engine/Engine.h"
#include "model/Studio.h"
#include "monitor/PreviewWindow.h"
#include "reels/ReelMaker.h"
#include "support/TestServices.h"

#include <QApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>

using namespace vorn;

namespace {

bool within(double seconds, const std::function<bool()>& happened) {
  QElapsedTimer clock;
  clock.start();
  while (!happened()) {
    if (clock.elapsed() > seconds * 1000) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
  }
  return true;
}

// A tick is due every 1000/60 ms: what the longest gap holds beyond that is how long the GUI
// thread was kept from its timer.
void printGap(const char* when, double gapSeconds) {
  std::printf("longest tick gap %s: %.1f ms (GUI thread held up %.1f ms)\n", when,
              gapSeconds * 1000, std::max(0.0, gapSeconds * 1000 - 1000.0 / 60));
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
  const double takeSeconds = argc > 1 ? std::atof(argv[1]) : 60;
  test::startServices(true, true);
  test::pulseServer()->pactl({"load-module", "module-sine-source", "source_name=vsine"});
  test::pulseServer()->pactl({"set-default-source", "vsine"});
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  int status = 0;
  {
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Vorn"));
    QApplication::setApplicationName(QStringLiteral("Vorn"));
    Studio studio;
    studio.updatePrefs([](Prefs& p) { p.fps = 30; });
    ReelMaker reels(studio);
    StudioWindows windows;
    windows.monitor = std::make_unique<PreviewWindow>(studio, nullptr);
    Engine engine(studio, &reels, DesktopServices{}, std::move(windows));
    bool first = false;
    QObject::connect(&engine, &Engine::firstFrame, [&] { first = true; });

    const auto opened = std::chrono::steady_clock::now();
    engine.open();
    const double openCall = millisecondsSince(opened);
    within(10, [&] { return first; });
    std::printf("open() call: %.1f ms, open to first composed preview: %.1f ms\n", openCall,
                millisecondsSince(opened));
    within(2, [] { return false; });
    printGap("while opening", engine.longestTickGap());

    const int ticks = 3000;
    const auto tickStart = std::chrono::steady_clock::now();
    for (int i = 0; i < ticks; ++i) engine.tick();
    std::printf("engine tick, nothing changed: %.1f us\n", millisecondsSince(tickStart) * 1000 / ticks);

    within(0.5, [] { return false; });
    engine.resetTickGap();
    engine.beginCountdown();
    within(10, [&] { return studio.phase() == Phase::recording; });
    within(takeSeconds, [] { return false; });
    const auto stopped = std::chrono::steady_clock::now();
    engine.stopRecording();
    within(30, [&] { return studio.phase() == Phase::review; });
    std::printf("stop to review, %.0f s take: %.0f ms\n", takeSeconds, millisecondsSince(stopped));
    printGap("over countdown, recording, stop", engine.longestTickGap());
    status = studio.phase() == Phase::review ? 0 : 1;
    engine.closeAndWait();
  }
  test::stopServices();
  return status;
}
