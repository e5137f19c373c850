// SPDX-License-Identifier: GPL-3.0-or-later
// The studio's own timings, on a private Xvfb display and PulseAudio server with the sample
// camera: open to the first composed preview, an engine tick with nothing changed, the
// longest gap between ticks while opening, recording and stopping, stop to review, and
// Ctrl+Shift+9 pressed by another X client (XTEST) to the countdown's first step.
//
// usage: studio_bench [TAKE_SECONDS]   (default 60)

#include "app/BackendChoice.h"
#include "app/RecordKey.h"
#include "platform/x11/X11Connection.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "monitor/MonitorWindow.h"
#include "reels/ReelMaker.h"
#include "support/TestServices.h"

#include <QApplication>
#include <QElapsedTimer>

#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>
#include <X11/keysym.h>

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

// Ctrl+Shift+9 typed through XTEST on a connection of its own, as another application would.
class Typist {
 public:
  Typist() : session_(X11Session::open()), symbols_(xcb_key_symbols_alloc(session_.connection.get())) {}
  ~Typist() { xcb_key_symbols_free(symbols_); }
  void pressRecordKey() {
    const xcb_keycode_t keys[] = {code(XK_Control_L), code(XK_Shift_L), code(XK_9)};
    for (const xcb_keycode_t key : keys) fake(XCB_KEY_PRESS, key);
    for (int i = 2; i >= 0; --i) fake(XCB_KEY_RELEASE, keys[i]);
    xcb_flush(session_.connection.get());
  }

 private:
  xcb_keycode_t code(xcb_keysym_t symbol) {
    XcbReply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols_, symbol));
    return codes ? codes.get()[0] : 0;
  }
  void fake(uint8_t type, xcb_keycode_t key) {
    xcb_test_fake_input(session_.connection.get(), type, key, XCB_CURRENT_TIME, session_.screen->root, 0, 0, 0);
  }
  X11Session session_;
  xcb_key_symbols_t* symbols_;
};

// The median and the worst of `runs` presses from framing to the countdown's first step.
void printHotKeyLatency(Studio& studio, int runs) {
  Typist typist;
  std::vector<double> latencies;
  for (int i = 0; i < runs; ++i) {
    const auto pressed = std::chrono::steady_clock::now();
    typist.pressRecordKey();
    if (!within(2, [&] { return studio.phase() == Phase::countdown; })) break;
    latencies.push_back(millisecondsSince(pressed));
    typist.pressRecordKey();  // cancels
    within(2, [&] { return studio.phase() == Phase::framing; });
    within(0.2, [] { return false; });
  }
  if (latencies.empty()) return (void)std::printf("hot key: no countdown\n");
  std::sort(latencies.begin(), latencies.end());
  std::printf("hot key to countdown, %zu presses: median %.2f ms, worst %.2f ms\n", latencies.size(),
              latencies[latencies.size() / 2], latencies.back());
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
    auto monitor = std::make_unique<MonitorWindow>(studio);
    MonitorWindow* monitorWindow = monitor.get();
    windows.monitor = std::move(monitor);
    const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
    platform->openDesktop();
    Backends backends = platform->forEngine();
    const DesktopServices services = backends.desktop;
    Engine engine(studio, &reels, std::move(backends), std::move(windows));
    monitorWindow->attach(engine);
    const std::shared_ptr<void> recordKey = grabRecordKey(services, engine);
    bool first = false;
    QObject::connect(&engine, &Engine::firstFrame, [&] { first = true; });

    const auto opened = std::chrono::steady_clock::now();
    engine.openAndWait();
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

    printHotKeyLatency(studio, 20);

    within(0.5, [] { return false; });
    engine.resetTickGap();
    engine.recording().beginCountdown();
    within(10, [&] { return studio.phase() == Phase::recording; });
    within(takeSeconds, [] { return false; });
    const auto stopped = std::chrono::steady_clock::now();
    engine.recording().stop();
    within(30, [&] { return studio.phase() == Phase::review; });
    std::printf("stop to review, %.0f s take: %.0f ms\n", takeSeconds, millisecondsSince(stopped));
    printGap("over countdown, recording, stop", engine.longestTickGap());
    status = studio.phase() == Phase::review ? 0 : 1;
    engine.closeAndWait();
  }
  test::stopServices();
  return status;
}
