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

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <optional>
#include <thread>

namespace vorn {
namespace {

const std::string kVorn = std::string(VORN_BINARY_DIR) + "/vorn";
const std::string kColourWindow = std::string(VORN_BINARY_DIR) + "/tests/colour_window";
constexpr const char* kColour = "#2e8b57";
// The right half's colour where the window is in two.
constexpr const char* kRightColour = "#d2691e";

bool isColour(QColor c, QColor want) {
  return std::abs(c.red() - want.red()) < 24 && std::abs(c.green() - want.green()) < 24 &&
         std::abs(c.blue() - want.blue()) < 24;
}
bool isTheColour(QColor c) { return isColour(c, QColor(kColour)); }

std::string home() { return test::tempHome()->path(); }

// Another application's full-screen window, a Wayland client of the session; given
// "LEFT,RIGHT", its halves in two colours.
std::unique_ptr<test::ChildProcess> colourWindow(const std::string& colours = kColour) {
  return std::make_unique<test::ChildProcess>(
      std::vector<std::string>{"env", "QT_QPA_PLATFORM=wayland", kColourWindow, colours});
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
  platform->openDesktop();
  EXPECT_FALSE(platform->desktopServices().grabKey)
      << "GNOME 43's portal holds no shortcuts: the studio's texts tell how to bind vorn --toggle";

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

bool isWhite(const QImage& image, int x, int y) {
  const QRgb p = reinterpret_cast<const QRgb*>(image.constScanLine(y))[x];
  return qRed(p) > 230 && qGreen(p) > 230 && qBlue(p) > 230;
}

// The capture frame where the studio's framing board shows it on the screen: the rectangle
// between its four corner handles, white discs with the sides' lines leaving them, found in a
// screenshot; nothing while none shows.
std::optional<QRect> frameOnBoard(const QImage& shot) {
  struct Disc {
    QPoint sum;
    int count = 0;
    QPoint centre() const { return sum / count; }
  };
  std::vector<Disc> discs;
  for (int y = 10; y < shot.height() - 10; ++y)
    for (int x = 10; x < shot.width() - 10; ++x) {
      if (!isWhite(shot, x, y)) continue;
      bool solid = true;
      for (int dy = -2; dy <= 2 && solid; ++dy)
        for (int dx = -2; dx <= 2 && solid; ++dx) solid = isWhite(shot, x + dx, y + dy);
      if (!solid) continue;
      // Around a handle only the two lines are white; a button is white all round.
      int around = 0;
      for (int i = -10; i < 10; ++i)
        around += isWhite(shot, x + i, y - 10) + isWhite(shot, x + 10, y + i) + isWhite(shot, x - i, y + 10) +
                  isWhite(shot, x - 10, y - i);
      if (around > 8) continue;
      const auto disc = std::find_if(discs.begin(), discs.end(), [&](const Disc& d) {
        return (d.centre() - QPoint(x, y)).manhattanLength() <= 8;
      });
      if (disc == discs.end()) discs.push_back({{x, y}, 1});
      else disc->sum += QPoint(x, y), ++disc->count;
    }
  const auto handleAt = [&](QPoint at) {
    return std::any_of(discs.begin(), discs.end(),
                       [&](const Disc& d) { return (d.centre() - at).manhattanLength() <= 4; });
  };
  for (const Disc& topLeft : discs)
    for (const Disc& bottomRight : discs) {
      const QPoint a = topLeft.centre(), b = bottomRight.centre();
      if (b.x() - a.x() > 40 && b.y() - a.y() > 40 && handleAt({b.x(), a.y()}) && handleAt({a.x(), b.y()}))
        return QRect(a, b);
    }
  return std::nullopt;
}

// A user who shared the screen once: the studio opens without asking, the user drags the
// frame on the studio's board over the window's right half, records from `vorn --toggle` to
// `vorn --toggle`, and reviews a take that shows that half alone: nothing of the left half
// the frame first lay over, nothing of the studio's own windows.
TEST_F(PortalCapture, theStudioRecordsFromToggleToToggleAndReviews) {
  const auto window = colourWindow(std::string(kColour) + "," + kRightColour);
  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  ASSERT_EQ(test::whileAnswering([&] { return platform->displays(); }).size(), 1u);
  // The test's own look at the screen, shared before the studio takes its turn with the token.
  std::unique_ptr<ScreenBackend> eyes = platform->forEngine().screen;
  const std::vector<DisplayInfo> displays = eyes->displays();
  ASSERT_EQ(displays.size(), 1u);

  // Its windows on the session, where the user frames.
  test::ChildProcess studio({"env", "QT_QPA_PLATFORM=wayland", kVorn});
  ASSERT_TRUE(test::eventually([] { return studioPhase() == "framing"; }, 60)) << studioPhase();

  // A take from `vorn --toggle` to `vorn --toggle`; its picture a second in.
  std::size_t takesMade = 0;
  const auto recordTake = [&]() -> QImage {
    EXPECT_EQ(test::runCommand({kVorn, "--toggle"}), 0);
    EXPECT_TRUE(test::eventually([] { return studioPhase() == "recording"; }, 20)) << studioPhase();
    test::eventually([] { return false; }, 2);  // the take's length
    EXPECT_EQ(test::runCommand({kVorn, "--toggle"}), 0);
    EXPECT_TRUE(test::eventually([] { return studioPhase() == "review"; }, 30)) << studioPhase();
    std::vector<std::filesystem::path> takes;
    for (const auto& entry : std::filesystem::directory_iterator(Takes::folderPath().toStdString()))
      if (entry.path().extension() == ".mp4" && entry.path().filename().string()[0] != '.') takes.push_back(entry.path());
    EXPECT_EQ(takes.size(), ++takesMade);
    if (takes.empty()) return {};
    std::sort(takes.begin(), takes.end(), [](const auto& a, const auto& b) {
      return std::filesystem::last_write_time(a) < std::filesystem::last_write_time(b);
    });
    const QString take = QString::fromStdString(takes.back().string());
    EXPECT_GT(test::probeDuration(take), 1.0);
    return test::frameAt(take, 1.0);
  };
  // The floating card's inside, above the camera bubble: how many points of it are of `colour`.
  const auto pointsOf = [](const QImage& picture, QColor colour) {
    int count = 0;
    for (int y = 260; y <= 1100; y += 120)
      for (int x = 100; x <= 980; x += 110) count += isColour(picture.pixelColor(x, y), colour) ? 1 : 0;
    return count;
  };
  constexpr int kPoints = 8 * 9;

  // The frame the studio starts with lies over its own windows: they are blanked in the take.
  const QImage first = recordTake();
  ASSERT_EQ(first.size(), QSize(1080, 1920));
  const int blank = pointsOf(first, QColor(64, 64, 68));
  EXPECT_GT(blank, 0) << "the studio's windows lay in the frame";
  EXPECT_EQ(pointsOf(first, QColor(kColour)) + pointsOf(first, QColor(kRightColour)) + blank, kPoints)
      << "nothing but the other window and blanks where the studio's lay";
  // A stream kept small: only its screenshots are looked at.
  ScreenSinks sinks;
  sinks.onFrame = [](FrameRef, const ScreenConfig&, double) {};
  eyes->start(displays[0], ScreenConfig{Rect{0, 0, 16, 16}, 16, 16}, {}, sinks);
  QImage shot;
  std::optional<QRect> frame;
  ASSERT_TRUE(test::eventually([&] {
    shot = eyes->screenshot(displays[0]);
    return (frame = frameOnBoard(shot)).has_value();
  }, 30)) << "the board shows the frame with its handles";
  // Right of the board the window's right half shows itself (the board's picture of it is
  // dimmed outside the frame): a drag that far takes the frame to the picture's right end.
  int boardEnd = frame->right() + 8;
  while (boardEnd < shot.width() && !isColour(shot.pixelColor(boardEnd, frame->center().y()), QColor(kRightColour)))
    ++boardEnd;
  ASSERT_LT(boardEnd, shot.width()) << "the window's right half shows right of the board";
  const QRect dragged = *frame;
  const int distance = boardEnd - dragged.right();

  // A click brings the board's window forward, as a person's would; then the frame is dragged by
  // its middle. mutter finds the window under the pointer once a frame, so a press right after
  // the pointer came onto the board may reach nobody: the drag is then given again.
  test::MutterInput input;
  input.moveTo(dragged.center().x(), dragged.center().y());
  input.click();
  EXPECT_TRUE(test::eventually([&] {
    input.press();
    for (int step = 0; step < 8; ++step) input.moveBy(distance / 8.0, 0);
    input.release();
    if (test::eventually([&] {
          frame = frameOnBoard(eyes->screenshot(displays[0]));
          return frame && frame->x() > dragged.x() + distance / 2;
        }, 3))
      return true;
    input.moveBy(-distance, 0);
    return false;
  }, 20)) << "the frame follows the drag on the board";
  eyes->stop();

  const QImage second = recordTake();
  ASSERT_EQ(second.size(), QSize(1080, 1920));
  EXPECT_EQ(pointsOf(second, QColor(kRightColour)), kPoints)
      << "the window's right half only: nothing of where the frame lay before the drag";
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
