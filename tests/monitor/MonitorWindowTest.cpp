// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "base/Clock.h"
#include "capture/SampleCamera.h"
#include "platform/x11/CompositorWatch.h"
#include "platform/x11/X11Desktop.h"
#include "platform/x11/X11ScreenBackend.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "monitor/IslandView.h"
#include "monitor/IslandWindow.h"
#include "monitor/MonitorWindow.h"
#include "monitor/PhoneCard.h"
#include "monitor/PhoneView.h"
#include "monitor/ReviewBar.h"
#include "reels/ReelMaker.h"

#include "support/ChildProcess.h"
#include "support/OtherWindow.h"
#include "support/Eventually.h"
#include "support/MovieProbe.h"
#include "support/TestServices.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QPushButton>
#include <QWidget>
#include <QtTest/QTest>
#include <gtest/gtest.h>

namespace vorn {
namespace {

using test::within;

bool isGreen(const QColor& c) { return c.green() > 140 && c.red() < 90 && c.blue() < 90; }

void xdotool(std::vector<std::string> args) {
  args.insert(args.begin(), "xdotool");
  ASSERT_EQ(test::runCommand(args), 0);
}

void settle(double seconds) { within(seconds, [] { return false; }); }

// A red take of 1.5 s with a tone, in the home folder; empty when it could not be made.
std::string redTake() {
  const std::string take = QDir::homePath().toStdString() + "/red.mp4";
  const int made = test::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "color=c=red:s=270x480:r=30:d=1.5",
                                     "-f", "lavfi", "-i", "sine=frequency=440:duration=1.5", "-c:v", "libx264",
                                     "-pix_fmt", "yuv420p", "-c:a", "aac", "-shortest", take});
  return made == 0 ? take : std::string();
}

QPushButton* buttonNamed(QWidget* parent, const QString& text) {
  for (QPushButton* b : parent->findChildren<QPushButton*>())
    if (b->text() == text) return b;
  return nullptr;
}

// The studio with its monitor over another application's green window.
class MonitorWindowTest : public testing::Test {
 protected:
  void SetUp() override {
    // Asked for by name, the sample camera stands in without the card saying none is there.
    if (sampleCamera())
      qputenv("VORN_SAMPLE_CAMERA", SampleCamera::builtInPath.toLocal8Bit());
    else
      qunsetenv("VORN_SAMPLE_CAMERA");
    studio.updatePrefs([](Prefs& p) {
      p.layout = Layout::screen;
      p.style = FrameStyle::bleed;
      p.platform = Platform::none;
      p.cameraOn = true;  // the sample camera: there is none here
      p.micOn = false;
      p.fps = 30;
      p.reels = false;
      p.follow = false;
      p.clickZoom = false;
      p.home = std::vector<double>{200 / 1920.0, 100 / 1080.0, 400 / 1920.0, 711 / 1080.0};  // on the left
    });
    studio.setWelcomed(true);
    platform = BackendChoice::choose();
    platform->openDesktop();
    ASSERT_TRUE(platform->overlays());
    StudioWindows windows;
    auto owned = std::make_unique<MonitorWindow>(studio);
    monitor = owned.get();
    windows.monitor = std::move(owned);
    auto ownedIsland = std::make_unique<IslandWindow>(studio, platform->overlays());
    island = ownedIsland.get();
    windows.island = std::move(ownedIsland);
    engine = std::make_unique<Engine>(studio, &reels, platform->forEngine(), std::move(windows));
    monitor->attach(*engine);
    island->attach(*engine);
    engine->recording().setCountdownStep(1000);
    xdotool({"mousemove", "300", "500"});  // the frame opens on the left: the monitor goes right
    engine->openAndWait();
    engine->setHome({200, 100, 400, 711});
    ASSERT_TRUE(within(10, [&] { return monitor->isVisible() && monitor->phone()->frame(); }));
    settle(0.6);  // the fade
  }
  void TearDown() override {
    if (!engine) return;  // set-up failed before it
    engine->closeAndWait();
    engine.reset();
  }
  virtual bool sampleCamera() const { return true; }

  // The phone screen's point (x, y) on the display.
  QPoint onScreen(double x, double y) const {
    return monitor->phone()->mapToGlobal(QPoint(PhoneView::bezel + int(x), PhoneView::bezel + int(y)));
  }
  const PhoneCard* shownCard() const {
    for (const PhoneCard* card : monitor->phone()->findChildren<PhoneCard*>())
      if (card->isVisible()) return card;
    return nullptr;
  }
  QColor pixel(QPoint at) { return X11ScreenBackend().screenshot(engine->screen()).pixelColor(at); }
  // Whether the window manager keeps the monitor above other windows.
  bool monitorAbove() {
    std::string state;
    test::runCommand({"xprop", "-id", std::to_string(monitor->winId()), "_NET_WM_STATE"}, &state);
    return state.find("_NET_WM_STATE_ABOVE") != std::string::npos;
  }
  std::string activeWindow() {
    std::string active;
    test::runCommand({"xdotool", "getactivewindow"}, &active);
    return active.substr(0, active.find('\n'));
  }

  Studio studio;
  ReelMaker reels{studio};
  test::OtherWindow backdrop{QRect(0, 0, 1920, 1080), QColor(40, 180, 60)};
  std::unique_ptr<BackendChoice> platform;
  MonitorWindow* monitor = nullptr;
  IslandWindow* island = nullptr;
  std::unique_ptr<Engine> engine;
};

TEST_F(MonitorWindowTest, showsTheComposedFrameAndItsShortcutsActOnTheStudio) {
  EXPECT_GT(monitor->x(), 960) << "beside the frame, on the side away from it";
  EXPECT_TRUE(within(5, [&] { return isGreen(pixel(onScreen(144, 100))); }))
      << "the framed green window reaches the phone's pixels";

  ASSERT_TRUE(within(5, [&] { return activeWindow() == std::to_string(monitor->winId()); }))
      << "the monitor holds the keyboard";
  xdotool({"key", "space"});
  EXPECT_TRUE(within(3, [&] { return studio.phase() == Phase::countdown; }));
  xdotool({"key", "Escape"});
  EXPECT_TRUE(within(3, [&] { return studio.phase() == Phase::framing; }));
  xdotool({"key", "Escape"});  // nothing under way to back out of

  const QRect full = monitor->geometry();
  xdotool({"key", "ctrl+m"});
  EXPECT_TRUE(within(3, [&] { return monitor->size() == QSize(250, 68); })) << "compact";
  EXPECT_EQ(studio.phase(), Phase::framing) << "Escape while framing leaves the studio open";
  EXPECT_EQ(monitor->geometry().center().x(), full.center().x());
  xdotool({"key", "ctrl+m"});
  EXPECT_TRUE(within(3, [&] { return monitor->geometry() == full; })) << "back where it was";
}

TEST_F(MonitorWindowTest, clicksLeaveTheKeysWithTheStudio) {
  ASSERT_TRUE(within(5, [&] { return activeWindow() == std::to_string(monitor->winId()); }));
  const auto keysStillWork = [&](const char* after) {
    xdotool({"key", "space"});
    EXPECT_TRUE(within(3, [&] { return studio.phase() == Phase::countdown; })) << "space after " << after;
    xdotool({"key", "Escape"});
    EXPECT_TRUE(within(3, [&] { return studio.phase() == Phase::framing; })) << "Escape after " << after;
  };
  const QPoint background = monitor->mapToGlobal(QPoint(monitor->width() - 12, 300));  // beside the phone
  for (const auto& [at, what] : {std::pair{background, "a click on the background"},
                                 {onScreen(144, 200), "a click on the phone's picture"}}) {
    xdotool({"mousemove", std::to_string(at.x()), std::to_string(at.y()), "click", "1"});
    keysStillWork(what);
  }

  studio.setWelcomed(false);
  ASSERT_TRUE(within(3, [&] { return shownCard(); }));
  const auto* start = shownCard()->findChild<QPushButton*>();
  ASSERT_TRUE(start);
  const QPoint button = start->mapToGlobal(start->rect().center());
  xdotool({"mousemove", std::to_string(button.x()), std::to_string(button.y()), "click", "1"});
  ASSERT_TRUE(within(3, [&] { return !shownCard(); }));
  EXPECT_EQ(QApplication::focusWidget(), monitor) << "the keys stay with the window when the card goes";
  keysStillWork("the welcome card's button");
}

TEST_F(MonitorWindowTest, outcomesThatWouldPassUnseenEachGetAToast) {
  const auto toasted = [&](const char* text) { return within(5, [&] { return studio.toast() == QString(text); }); };
  // A stand-in reel engine (never run: a take without a voice gets no reel).
  qputenv("VORN_CUT_PATH", "/bin/true");
  bool listed = false;
  QObject::connect(engine.get(), &Engine::inputsConfigured, [&] { listed = true; });
  engine->refreshDevices();
  ASSERT_TRUE(within(10, [&] { return listed; }));
  ASSERT_TRUE(studio.mics().empty()) << "this sound server has no microphone";
  studio.updatePrefs([](Prefs& p) { p.micOn = true; p.reels = true; p.cameraOn = false; });
  engine->recording().setCountdownStep(50);
  engine->recording().beginCountdown();
  EXPECT_TRUE(toasted("No microphone: recording without sound."));

  ASSERT_TRUE(within(10, [&] { return studio.phase() == Phase::recording; }));
  ASSERT_TRUE(within(30, [&] { return studio.elapsed(mediaTime()) > 8.2; })) << "long enough for a reel";
  engine->recording().stop();
  ASSERT_TRUE(within(20, [&] { return studio.phase() == Phase::review; }));
  EXPECT_TRUE(toasted("No reel: this take has no voice."));

  const QString recorded = studio.take()->url.toLocalFile();
  buttonNamed(monitor->reviewBar(), "Retake")->click();
  EXPECT_TRUE(toasted("Moved to Trash"));
  EXPECT_FALSE(QFileInfo::exists(recorded));
  EXPECT_TRUE(QFileInfo::exists(QDir::homePath() + "/data/Trash/files/" + QFileInfo(recorded).fileName()));

  const std::string take = redTake();
  ASSERT_FALSE(take.empty());
  engine->review({QUrl::fromLocalFile(QString::fromStdString(take)), 1.5});
  // No file manager answers on this display's session, and nothing on the path opens a folder.
  const QByteArray path = qgetenv("PATH");
  qputenv("PATH", QDir::homePath().toLocal8Bit());
  buttonNamed(monitor->reviewBar(), "Show in Files")->click();
  EXPECT_TRUE(toasted("No file manager is available."));
  qputenv("PATH", path);
  qunsetenv("VORN_CUT_PATH");
}

TEST_F(MonitorWindowTest, nothingShowsThroughThePanelAndItsCornersShowTheDesktop) {
  const QColor body(22, 22, 24);
  const QPoint panel = monitor->mapToGlobal(QPoint(monitor->width() - 12, 300));  // beside the phone
  const QPoint corner = monitor->mapToGlobal(QPoint(2, 2));
  EXPECT_TRUE(within(5, [&] { return pixel(panel) == body && isGreen(pixel(corner)); }))
      << "without a compositor: the corner cut away, not black";

  test::ChildProcess compositor({"xcompmgr"});
  const std::unique_ptr<X11Desktop> desktop = X11Desktop::open();
  CompositorWatch watch(*desktop);
  ASSERT_TRUE(within(5, [&] { return watch.running(); }));
  monitor->setWindowOpacity(0.5);
  ASSERT_TRUE(within(5, [&] { return pixel(panel).green() > 60; })) << "the compositor blends windows now";
  monitor->setWindowOpacity(1);
  EXPECT_TRUE(within(5, [&] { return pixel(panel) == body && isGreen(pixel(corner)); }))
      << "with one: the green window behind stays behind (" << pixel(panel).name().toStdString() << ")";
}

// This machine has no camera, and the sample is not asked for.
class MonitorWithoutCamera : public MonitorWindowTest {
 protected:
  bool sampleCamera() const override { return false; }
};

TEST_F(MonitorWithoutCamera, withoutAUsableCameraTheCardSaysWhy) {
  ASSERT_TRUE(within(5, [&] { return !studio.cameraAccess(); }));
  const PhoneCard* card = shownCard();
  ASSERT_TRUE(card);
  EXPECT_EQ(card->kind(), PhoneCard::Kind::camera);
  studio.updatePrefs([](Prefs& p) { p.layout = Layout::screen; p.cameraOn = false; });
  EXPECT_TRUE(within(1, [&] { return !shownCard(); }))
      << "a layout without the camera needs no camera";
}

TEST_F(MonitorWindowTest, theHandlesOnThePhoneRearrangeTheLayout) {
  const Prefs before = studio.prefs();
  // A point just inside the bubble's left edge, in the composed preview.
  const auto leftOfBubble = [&] {
    const ConstFrameRef frame = monitor->phone()->frame();
    const double x = (before.bubbleX - before.bubbleSize / 2 + 0.04) * frame->width();
    return frame->image().pixelColor(int(x), int(before.bubbleY * frame->height()));
  };
  ASSERT_TRUE(within(5, [&] { return !isGreen(leftOfBubble()); })) << "the sample camera's picture is there";
  const QPoint bubble = onScreen(before.bubbleX * 288, before.bubbleY * 512);
  xdotool({"mousemove", std::to_string(bubble.x()), std::to_string(bubble.y()), "mousedown", "1"});
  for (int dx = 8; dx <= 32; dx += 8)
    xdotool({"mousemove", std::to_string(bubble.x() + dx), std::to_string(bubble.y())});
  xdotool({"mouseup", "1"});
  EXPECT_TRUE(within(3, [&] { return std::abs(studio.prefs().bubbleX - (before.bubbleX + 32.0 / 288)) < 0.01; }))
      << studio.prefs().bubbleX;
  EXPECT_EQ(studio.prefs().bubbleY, before.bubbleY);
  EXPECT_TRUE(within(3, [&] { return isGreen(leftOfBubble()); })) << "the next composed frame has it moved";

  studio.updatePrefs([](Prefs& p) { p.layout = Layout::split; p.cameraOnTop = false; p.splitRatio = 0.5; });
  settle(0.2);
  const QPoint divider = onScreen(144, 256);
  xdotool({"mousemove", std::to_string(divider.x()), std::to_string(divider.y()), "click", "--repeat", "2", "1"});
  EXPECT_TRUE(within(3, [&] { return studio.prefs().cameraOnTop; })) << "a double click swaps the halves";
  EXPECT_EQ(studio.prefs().splitRatio, 0.5);
}

// The arrow keys move what has the keyboard: the capture frame from the window itself, a handle
// on the phone once Tab or a click selects it. A step, or ten with Shift, saved at each press;
// the studio's keys still pass through.
TEST_F(MonitorWindowTest, theArrowKeysMoveTheFrameOrTheSelectedHandle) {
  ASSERT_TRUE(within(5, [&] { return activeWindow() == std::to_string(monitor->winId()); }));
  const Rect home = engine->home();
  QTest::keyClick(monitor, Qt::Key_Right);
  QTest::keyClick(monitor, Qt::Key_Up, Qt::ShiftModifier);
  EXPECT_EQ(engine->home(), (Rect{home.x + 1, home.y - 10, home.width, home.height}));

  PhoneView* phone = monitor->phone();
  for (int tabs = 0; tabs < 20 && QApplication::focusWidget() != phone; ++tabs)
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
  ASSERT_EQ(QApplication::focusWidget(), phone) << "Tab reaches the phone's handle";
  const Prefs before = studio.prefs();
  QTest::keyClick(phone, Qt::Key_Right);
  QTest::keyClick(phone, Qt::Key_Down, Qt::ShiftModifier);
  EXPECT_NEAR(studio.prefs().bubbleX, before.bubbleX + 1.0 / 288, 1e-9);
  EXPECT_NEAR(studio.prefs().bubbleY, before.bubbleY + 10.0 / 512, 1e-9);
  EXPECT_EQ(Studio().prefs().bubbleY, studio.prefs().bubbleY) << "saved at the press";
  EXPECT_EQ(engine->home().x, home.x + 1) << "the frame stays";
  QTest::keyClick(phone, Qt::Key_Space);
  EXPECT_TRUE(within(3, [&] { return studio.phase() == Phase::countdown; })) << "Space still records";
  QTest::keyClick(phone, Qt::Key_Escape);
  EXPECT_TRUE(within(3, [&] { return studio.phase() == Phase::framing; })) << "Escape still cancels";

  studio.updatePrefs([](Prefs& p) { p.layout = Layout::split; p.cameraOnTop = false; p.splitRatio = 0.5; });
  settle(0.2);
  const Rect split = engine->home();  // refitted to the layout
  monitor->setFocus();
  const QPoint divider = onScreen(144, 256);
  xdotool({"mousemove", std::to_string(divider.x()), std::to_string(divider.y()), "click", "1"});
  ASSERT_TRUE(within(3, [&] { return QApplication::focusWidget() == phone; })) << "a click selects the divider";
  QTest::keyClick(phone, Qt::Key_Down);
  EXPECT_NEAR(studio.prefs().splitRatio, 0.5 + 1.0 / 512, 1e-9);
  QTest::keyClick(phone, Qt::Key_Up, Qt::ShiftModifier);
  EXPECT_NEAR(studio.prefs().splitRatio, 0.5 - 9.0 / 512, 1e-9);
  QTest::keyClick(phone, Qt::Key_Left);
  EXPECT_EQ(engine->home(), split) << "sideways keys on the divider leave the frame be";
}

TEST_F(MonitorWindowTest, neverAppearsInATakeAndReviewBringsItBackFromCompact) {
  engine->recording().setCountdownStep(50);
  studio.updatePrefs([](Prefs& p) {
    p.cameraOn = false;  // every pixel of the take is the screen
    p.follow = true;
  });
  // The frame right over the monitor.
  const QRect m = monitor->geometry();
  engine->setHome({double(m.x() - 100), 60, 540, 960});
  engine->setCompact(true);
  xdotool({"mousemove", "10", "1070"});
  EXPECT_TRUE(monitorAbove());
  engine->recording().beginCountdown();
  ASSERT_TRUE(within(10, [&] { return studio.phase() == Phase::recording; }));
  settle(0.6);
  // The pointer goes to rest on the monitor, as if to press Stop: Follow holds the view.
  const QPoint onMonitor = monitor->geometry().center();
  xdotool({"mousemove", std::to_string(onMonitor.x()), std::to_string(onMonitor.y())});
  settle(1.2);
  engine->recording().stop();
  ASSERT_TRUE(within(20, [&] { return studio.phase() == Phase::review; }));
  EXPECT_FALSE(studio.compact()) << "a finished take is seen at full size";
  EXPECT_TRUE(within(5, [&] { return !monitorAbove(); }))
      << "in review what is opened from the monitor (the file manager) comes in front of it";

  // Never the monitor's own pixels (its grey, its red record button), nor a hole where it was:
  // the window below shows through, or the monitor kept off the frame. Only the pointer's
  // picture may differ.
  for (const double share : {0.05, 0.3, 0.55, 0.8, 0.95}) {
    const double at = share * studio.take()->duration;
    const QImage frame = test::frameAt(studio.take()->url.toLocalFile(), at);
    ASSERT_FALSE(frame.isNull());
    int green = 0, other = 0;
    for (int y = 10; y < frame.height(); y += 20)
      for (int x = 10; x < frame.width(); x += 20) (isGreen(frame.pixelColor(x, y)) ? green : other)++;
    EXPECT_LE(other, 3) << "at " << at << " s: nothing of the monitor in the take (" << green << " green)";
  }
}

TEST_F(MonitorWindowTest, theIslandHangsFromTheTopForTheTakeAndNeverAppearsInIt) {
  studio.updatePrefs([](Prefs& p) {
    p.cameraOn = false;
    p.script = QStringLiteral("Read this line while the take runs, looking at the lens.");
  });
  engine->setHome({700, 0, 540, 960});  // right over the island and its prompter
  settle(0.5);
  xdotool({"mousemove", "10", "1070"});
  engine->recording().beginCountdown();
  ASSERT_TRUE(island->shown());
  EXPECT_TRUE(within(2, [&] { return island->view()->isVisible(); }));
  const QRect placed = island->view()->window()->geometry();
  if (engine->ownWindowsLeftOut())
    EXPECT_EQ(placed, QRect(960 - 320, 0, 640, 320)) << "centred on the top edge";
  else
    EXPECT_FALSE(placed.intersects(QRect(700, 0, 540, 960))) << "beside the frame it would cover";
  engine->recording().cancelCountdown();
  EXPECT_FALSE(island->shown());
  EXPECT_TRUE(within(2, [&] { return !island->view()->window()->isVisible(); })) << "faded out";

  engine->recording().setCountdownStep(50);
  engine->recording().beginCountdown();
  ASSERT_TRUE(within(10, [&] { return studio.phase() == Phase::recording; }));
  EXPECT_TRUE(within(3, [&] { return island->view()->lookAt(mediaTime()).prompter; }));
  settle(1.5);
  engine->recording().stop();
  ASSERT_TRUE(within(20, [&] { return studio.phase() == Phase::review; }));
  EXPECT_FALSE(island->shown());

  const QImage frame = test::frameAt(studio.take()->url.toLocalFile(), 0.5 * studio.take()->duration);
  ASSERT_FALSE(frame.isNull());
  int green = 0, other = 0;
  for (int y = 10; y < frame.height() / 2; y += 10)
    for (int x = 10; x < frame.width(); x += 10) (isGreen(frame.pixelColor(x, y)) ? green : other)++;
  EXPECT_EQ(other, 0) << "neither the island nor its prompter in the take (" << green << " green)";
}

TEST_F(MonitorWindowTest, aTakeUnderReviewLoopsInThePhoneWithItsSound) {
  const std::string take = redTake();
  ASSERT_FALSE(take.empty());
  engine->review({QUrl::fromLocalFile(QString::fromStdString(take)), 1.5});
  ASSERT_EQ(studio.phase(), Phase::review);
  const TakePlayer& player = monitor->phone()->player();
  EXPECT_TRUE(within(5, [&] {
    const QColor c = pixel(onScreen(144, 300));
    return c.red() > 200 && c.green() < 60 && c.blue() < 60;
  })) << "the take's pictures reach the phone";
  EXPECT_TRUE(within(8, [&] { return player.loops() >= 2; })) << "and start over at its end";
  std::string inputs;
  test::pulseServer()->pactl({"list", "short", "sink-inputs"}, &inputs);
  EXPECT_TRUE(player.audible());
  EXPECT_FALSE(inputs.empty()) << "its sound plays on the sound server";

  const long shown = player.shown();
  engine->review({QUrl::fromLocalFile(QString::fromStdString(take)), 1.5});
  EXPECT_GE(player.shown(), shown) << "the same take handed again does not start over";

  xdotool({"key", "Escape"});
  ASSERT_TRUE(within(3, [&] { return studio.phase() == Phase::framing; }));
  EXPECT_TRUE(player.path().isEmpty());
  EXPECT_TRUE(within(3, [&] {
    test::pulseServer()->pactl({"list", "short", "sink-inputs"}, &inputs);
    return inputs.empty();
  })) << "leaving the review stops the sound";
}

}  // namespace
}  // namespace vorn
