// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "base/Locked.h"
#include "capture/ScreenBackend.h"
#include "model/Takes.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/GnomeSession.h"
#include "support/MovieProbe.h"
#include "support/TestServices.h"

#include <QColor>
#include <QSettings>
#include <QImage>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <thread>

namespace vorn {
namespace {

const std::string kVorn = std::string(VORN_BINARY_DIR) + "/vorn";
const std::string kColourWindow = std::string(VORN_BINARY_DIR) + "/tests/colour_window";
constexpr const char* kColour = "#2e8b57";

bool isTheColour(QColor c) {
  return std::abs(c.red() - 0x2e) < 24 && std::abs(c.green() - 0x8b) < 24 && std::abs(c.blue() - 0x57) < 24;
}

std::string home() { return test::tempHome()->path(); }

// Another application's full-screen window, a Wayland client of the session.
std::unique_ptr<test::ChildProcess> colourWindow() {
  return std::make_unique<test::ChildProcess>(
      std::vector<std::string>{"env", "QT_QPA_PLATFORM=wayland", kColourWindow, kColour});
}

class PortalCapture : public testing::Test {
 protected:
  void SetUp() override {
    if (!test::gnomeSession()) GTEST_SKIP() << test::gnomeMissing();
  }
};

// The first look asks once; the capture then shows what the compositor shows and follows the
// pointer; a second run, with the token kept in the settings, asks nobody; `vorn record` under
// the session records the other window's colour.
TEST_F(PortalCapture, sharesOnceThenRecordsWhatTheDesktopShowsAndWherePointerIs) {
  const auto window = colourWindow();
  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  std::vector<DisplayInfo> displays = test::whileAnswering([&] { return platform->displays(); });
  ASSERT_EQ(displays.size(), 1u) << platform->noDisplay().toStdString();
  EXPECT_EQ(displays[0].rect, (Rect{0, 0, test::GnomeSession::width, test::GnomeSession::height}));

  // The second look, with the kept token: no dialog, nobody answering.
  std::unique_ptr<ScreenBackend> screen = platform->forEngine().screen;
  displays = screen->displays();
  ASSERT_EQ(displays.size(), 1u) << "a kept token shares again without asking";

  Locked<QImage> latest;
  Locked<std::optional<Point>> pointer;
  ScreenSinks sinks;
  sinks.onFrame = [&](FrameRef frame, const ScreenConfig&, double) { latest.set(frame->image().copy()); };
  sinks.onPointer = [&](const PointerState& state) { pointer.set(state.position); };
  const ScreenConfig area{Rect{400, 300, 640, 360}, 640, 360};
  screen->start(displays[0], area, {}, sinks);
  EXPECT_TRUE(test::eventually([&] {
    const QImage frame = latest.get();
    return frame.size() == QSize(640, 360) && isTheColour(frame.pixelColor(320, 180));
  }, 30)) << "the other application's window fills the area";

  test::MutterInput input;
  input.moveTo(700, 500);
  EXPECT_TRUE(test::eventually([&] {
    const auto at = pointer.get();
    return at && std::abs(at->x - 700) <= 2 && std::abs(at->y - 500) <= 2;
  }, 10)) << "the pointer comes with the pictures";
  screen->stop();

  const std::string take = home() + "/portal.mp4";
  std::string output;
  ASSERT_EQ(test::runCommand({kVorn, "record", "--seconds", "3", "--no-camera", "--no-mic", "--fps", "30",
                              "--layout", "screen", "--area", "100,100,600,800", "--out", take},
                             &output),
            0)
      << output;
  const QImage frame = test::frameAt(QString::fromStdString(take), 1.5);
  ASSERT_EQ(frame.size(), QSize(1080, 1920));
  EXPECT_TRUE(isTheColour(frame.pixelColor(540, 960))) << "the take shows the other window";
}

// Declined: no display, one sentence on what to do; the next look asks again.
TEST_F(PortalCapture, aDeclinedShareSaysWhatToDoAndIsAskedAgain) {
  QSettings(QStringLiteral("Vorn"), QStringLiteral("Vorn")).remove(QStringLiteral("screenShareToken"));
  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  std::unique_ptr<ScreenBackend> screen = platform->forEngine().screen;
  EXPECT_TRUE(test::whileAnswering([&] { return screen->displays(); }, test::cancelShareDialog).empty());
  ASSERT_TRUE(screen->unavailable());
  EXPECT_NE(screen->unavailable()->find("declined"), std::string::npos) << *screen->unavailable();
  EXPECT_EQ(test::whileAnswering([&] { return screen->displays(); }).size(), 1u);
}

// The studio's phase, as the desktop sees it on the session bus.
std::string studioPhase() {
  std::string reply;
  test::runCommand({"dbus-send", "--session", "--print-reply", "--dest=org.vorn.Vorn", "/org/vorn/Vorn",
                    "org.freedesktop.DBus.Properties.Get", "string:org.vorn.Vorn", "string:Phase"},
                   &reply);
  const size_t open = reply.find('"'), close = reply.rfind('"');
  return open == std::string::npos || close <= open ? std::string() : reply.substr(open + 1, close - open - 1);
}

// A user who shared the screen once: the studio opens without asking, records from
// `vorn --toggle` to `vorn --toggle`, and reviews a take that shows the other application
// and nothing of the studio's own windows.
TEST_F(PortalCapture, theStudioRecordsFromToggleToToggleAndReviews) {
  const auto window = colourWindow();
  {
    const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
    ASSERT_EQ(test::whileAnswering([&] { return platform->displays(); }).size(), 1u);
  }
  test::ChildProcess studio({kVorn});
  ASSERT_TRUE(test::eventually([] { return studioPhase() == "framing"; }, 60)) << studioPhase();

  ASSERT_EQ(test::runCommand({kVorn, "--toggle"}), 0);
  ASSERT_TRUE(test::eventually([] { return studioPhase() == "recording"; }, 20)) << studioPhase();
  test::eventually([] { return false; }, 2);  // the take's length
  ASSERT_EQ(test::runCommand({kVorn, "--toggle"}), 0);
  ASSERT_TRUE(test::eventually([] { return studioPhase() == "review"; }, 30)) << studioPhase();

  std::vector<std::filesystem::path> takes;
  for (const auto& entry : std::filesystem::directory_iterator(Takes::folderPath().toStdString()))
    if (entry.path().extension() == ".mp4" && entry.path().filename().string()[0] != '.') takes.push_back(entry.path());
  ASSERT_EQ(takes.size(), 1u);
  const QString take = QString::fromStdString(takes[0].string());
  EXPECT_GT(test::probeDuration(take), 1.0);
  const QImage frame = test::frameAt(take, 1.0);
  ASSERT_EQ(frame.size(), QSize(1080, 1920));
  // The floating card's inside, above the camera bubble (the pointer may cover a point).
  int other = 0;
  for (int y = 260; y <= 1100; y += 120)
    for (int x = 100; x <= 980; x += 110) other += isTheColour(frame.pixelColor(x, y)) ? 0 : 1;
  EXPECT_LE(other, 1) << "the other application's window only, nothing of the studio";
  ASSERT_EQ(test::runCommand({"dbus-send", "--session", "--dest=org.vorn.Vorn", "/org/vorn/Vorn", "org.vorn.Vorn.Quit"}), 0);
}

// The desktop session ends mid-take: the take stops there, is kept, and one sentence says why.
// (Last: the session is over after it.)
TEST_F(PortalCapture, theSessionEndingMidTakeKeepsTheTake) {
  const auto window = colourWindow();
  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  ASSERT_EQ(test::whileAnswering([&] { return platform->displays(); }).size(), 1u);

  const std::string take = home() + "/ended.mp4";
  std::string output;
  std::atomic<int> code{-1};
  std::thread record([&] {
    code = test::runCommand({"sh", "-c", kVorn + " record --seconds 60 --no-camera --no-mic --fps 30 --out '" +
                                             take + "' 2>&1"},
                            &output);
  });
  const std::string fragment = home() + "/.recording-ended.mp4";
  EXPECT_TRUE(test::eventually([&] { return std::filesystem::exists(fragment) &&
                                            std::filesystem::file_size(fragment) > 20'000; }, 60));
  test::gnomeSession()->endShell();
  record.join();

  EXPECT_EQ(code, 1) << output;
  EXPECT_NE(output.find("The screen share ended"), std::string::npos) << output;
  EXPECT_GT(test::probeDuration(QString::fromStdString(take)), 0.5) << output;
}

}  // namespace
}  // namespace vorn
