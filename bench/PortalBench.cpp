// SPDX-License-Identifier: GPL-3.0-or-later
// portal_bench: the Wayland screen's cost on a headless GNOME session of its own. Another
// application's window changes colour 30 times a second; the portal backend captures a
// 1280 × 720 area of it for ten seconds. Prints the capture threads' CPU time as a share of one
// core and the pictures delivered per second. Then glass to glass: the window turns red or
// blue four times a second, and the time from its commit to the phone's paint showing the new
// colour is printed. Last, `vorn record` records 10 s at 30 fps of the flashing screen and its
// dropped frames are printed.
#include "BenchLoop.h"
#include "BenchStudio.h"
#include "app/BackendChoice.h"
#include "engine/Engine.h"
#include "monitor/MonitorWindow.h"
#include "monitor/PhoneView.h"
#include "reels/ReelMaker.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/GnomeSession.h"
#include "support/TestServices.h"

#include <QApplication>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <sstream>
#include <thread>
#include <string>
#include <unistd.h>

namespace {

using namespace vorn;

// CPU seconds spent so far by this process's threads named `name`.
double threadSeconds(const std::string& name) {
  double ticks = 0;
  DIR* tasks = opendir("/proc/self/task");
  if (!tasks) return 0;
  while (const dirent* entry = readdir(tasks)) {
    if (entry->d_name[0] == '.') continue;
    const std::string dir = std::string("/proc/self/task/") + entry->d_name;
    std::string comm;
    std::getline(std::ifstream(dir + "/comm"), comm);
    if (comm != name) continue;
    std::string stat;
    std::getline(std::ifstream(dir + "/stat"), stat);
    // utime and stime are fields 14 and 15, counted after the command's closing parenthesis.
    const size_t close = stat.rfind(')');
    if (close == std::string::npos) continue;
    std::istringstream fields(stat.substr(close + 2));
    std::string field;
    for (int i = 3; i <= 13; ++i) fields >> field;
    double user = 0, system = 0;
    fields >> user >> system;
    ticks += user + system;
  }
  closedir(tasks);
  return ticks / double(sysconf(_SC_CLK_TCK));
}

// The colour at the middle of the phone's latest frame, if it is plainly red or blue.
const char* phoneColour(MonitorWindow& monitor) {
  const ConstFrameRef& frame = monitor.phone()->frame();
  if (!frame) return nullptr;
  const QColor c = frame->image().pixelColor(frame->width() / 2, frame->height() / 2);
  if (c.red() > 180 && c.blue() < 80) return "red";
  if (c.blue() > 180 && c.red() < 80) return "blue";
  return nullptr;
}

// When each colour change reached the compositor, as the window logged it.
std::vector<std::pair<long long, std::string>> readChanges(const std::string& file) {
  std::vector<std::pair<long long, std::string>> changes;
  std::ifstream log(file);
  long long at = 0;
  std::string colour;
  while (log >> at >> colour) changes.emplace_back(at, colour);
  return changes;
}

void benchGlass(const BackendChoice& platform, const std::string& binaries) {
  const std::string log = test::tempHome()->path() + "/glass.log";
  test::ChildProcess window({"env", "QT_QPA_PLATFORM=wayland", binaries + "/tests/colour_window", "glass", log});
  Studio studio;
  bench::screenOnly(studio);
  ReelMaker reels(studio);
  StudioWindows windows;
  auto owned = std::make_unique<MonitorWindow>(studio);
  MonitorWindow& monitor = *owned;
  windows.monitor = std::move(owned);
  Engine engine(studio, &reels, platform.forEngine(), std::move(windows));
  monitor.attach(engine);
  engine.openAndWait();
  engine.setHome({400, 60, 540, 960});
  bench::within(5, [&] { return phoneColour(monitor) != nullptr; });
  // Each change of colour seen in the phone, timed after the phone has painted it.
  std::vector<std::pair<long long, std::string>> seen;
  const char* last = phoneColour(monitor);
  bench::within(12, [&] {
    const char* now = phoneColour(monitor);
    if (now && now != last) {
      monitor.phone()->repaint();
      const auto painted = bench::Clock::now().time_since_epoch();
      seen.emplace_back(std::chrono::nanoseconds(painted).count(), now);
      last = now;
    }
    return false;
  });
  engine.closeAndWait();
  const auto changes = readChanges(log);
  std::vector<double> delays;
  for (const auto& [paintedAt, colour] : seen) {
    // The latest change to that colour before the paint.
    for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
      if (change->first > paintedAt) continue;
      if (change->second == colour) delays.push_back(double(paintedAt - change->first) / 1e6);
      break;
    }
  }
  bench::printSpread("glass to glass, another window's commit to the phone's paint", delays);
}

}  // namespace

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QApplication app(argc, argv);
  QApplication::setOrganizationName(QStringLiteral("Vorn"));
  QApplication::setApplicationName(QStringLiteral("Vorn"));
  test::startServices(false, false, false, false, true);
  if (!test::gnomeSession()) {
    std::printf("skipped: %s\n", test::gnomeMissing().c_str());
    return 0;
  }
  const std::string binaries = VORN_BINARY_DIR;
  test::ChildProcess window({"env", "QT_QPA_PLATFORM=wayland", binaries + "/tests/colour_window", "white", "30"});

  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  const std::vector<DisplayInfo> displays = test::whileAnswering([&] { return platform->displays(); });
  if (displays.empty()) {
    std::printf("no screen shared: %s\n", qPrintable(platform->noDisplay()));
    return 1;
  }

  std::unique_ptr<ScreenBackend> screen = platform->forEngine().screen;
  std::atomic<int> frames{0};
  ScreenSinks sinks;
  sinks.onFrame = [&](FrameRef, const ScreenConfig&, double) { ++frames; };
  screen->start(screen->displays().front(), ScreenConfig{Rect{0, 0, 1280, 720}, 1280, 720}, {}, sinks);
  test::eventually([&] { return frames > 0; }, 20);
  const double seconds = 10;
  const double cpuBefore = threadSeconds("vorn.screen");
  const int framesBefore = frames;
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  const double cpu = threadSeconds("vorn.screen") - cpuBefore;
  const int delivered = frames - framesBefore;
  screen->stop();
  std::printf("portal capture 1280x720, screen changing at 30 Hz: %.1f %% of a core, %.1f pictures/s\n",
              100 * cpu / seconds, delivered / seconds);
  window.stop();
  benchGlass(*platform, binaries);
  test::ChildProcess flashing({"env", "QT_QPA_PLATFORM=wayland", binaries + "/tests/colour_window", "white", "30"});

  std::string output;
  test::runCommand({binaries + "/vorn", "record", "--seconds", "10", "--no-camera", "--no-mic", "--fps", "30",
                    "--layout", "screen", "--area", "0,0,1280,720", "--out", test::tempHome()->path() + "/bench.mp4"},
                   &output);
  const size_t at = output.find("dropped frames:");
  std::printf("vorn record 10 s at 30 fps of it: %s\n",
              at == std::string::npos ? output.c_str() : output.substr(at).c_str());
  test::stopServices();
  return 0;
}
