// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "base/Clock.h"
#include "desktop/OverlayPanel.h"
#include "desktop/ScreenScaleWatch.h"
#include "platform/x11/WindowList.h"
#include "platform/x11/X11ScreenBackend.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "reels/ReelMaker.h"
#include "viewfinder/FrameView.h"
#include "viewfinder/FrameZones.h"
#include "viewfinder/Viewfinder.h"

#include "support/OtherWindow.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/MovieProbe.h"

#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QtTest/QTest>
#include <gtest/gtest.h>

namespace vorn {
namespace {

using test::within;

const QColor kGreen(40, 180, 60);

void xdotool(std::vector<std::string> args) {
  args.insert(args.begin(), "xdotool");
  ASSERT_EQ(test::runCommand(args), 0);
}

void settle(double seconds) { within(seconds, [] { return false; }); }

// Each channel of `c` is `share` of the backdrop's, within a few levels.
bool dimmedTo(const QColor& c, double share) {
  return std::abs(c.red() - kGreen.red() * share) < 8 && std::abs(c.green() - kGreen.green() * share) < 8 &&
         std::abs(c.blue() - kGreen.blue() * share) < 8;
}

class ViewfinderTest : public testing::Test {
 public:
  void SetUp() override {
    studio.updatePrefs([](Prefs& p) {
      p.layout = Layout::screen;
      p.style = FrameStyle::bleed;
      p.cameraOn = false;
      p.micOn = false;
      p.fps = 30;
      p.clickZoom = false;
      p.reels = false;
      p.follow = false;  // the crop stays on the frame
    });
    platform->openDesktop();
    ASSERT_TRUE(platform->overlays());
    StudioWindows windows;
    auto owned = std::make_unique<Viewfinder>(studio, platform->overlays());
    viewfinder = owned.get();
    windows.viewfinder = std::move(owned);
    engine = std::make_unique<Engine>(studio, &reels, platform->forEngine(), std::move(windows));
    viewfinder->attach(*engine);
    engine->recording().setCountdownStep(50);
  }
  void TearDown() override {
    if (!engine) return;  // set-up failed before it
    engine->closeAndWait();
    engine.reset();
  }

  void open(bool expectCompositor) {
    ASSERT_TRUE(within(5, [&] { return viewfinder->compositing() == expectCompositor; }));
    xdotool({"mousemove", "825", "650"});
    engine->openAndWait();
    engine->setHome(home);
    settle(1.0);  // the fades
  }
  QColor pixel(int x, int y) { return X11ScreenBackend().screenshot(engine->screen()).pixelColor(x, y); }

  const Rect home{600, 150, 450, 800};  // inside the backdrop
  ScreenScaleWatch scales;  // as the studio has, before the first display is listed
  Studio studio;
  ReelMaker reels{studio};
  // Another application's window under the frame.
  test::OtherWindow backdrop{QRect(100, 100, 1400, 900), kGreen};
  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  Viewfinder* viewfinder = nullptr;
  std::unique_ptr<Engine> engine;
};

TEST_F(ViewfinderTest, dimsAroundTheHoleByPhaseAndNeverReachesTheTake) {
  test::ChildProcess compositor({"xcompmgr"});
  open(true);
  EXPECT_TRUE(within(5, [&] { return dimmedTo(pixel(300, 650), 0.58); })) << "framing dims by 0.42";
  EXPECT_TRUE(dimmedTo(pixel(825, 650), 1.0)) << "the hole is clear";

  QWidget studioWindow(nullptr, Qt::FramelessWindowHint);
  OverlayPanel::keepUndimmed(&studioWindow);
  studioWindow.setAutoFillBackground(true);
  QPalette white;
  white.setColor(QPalette::Window, Qt::white);
  studioWindow.setPalette(white);
  studioWindow.setGeometry(150, 200, 120, 120);
  studioWindow.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&studioWindow, 20000));
  EXPECT_TRUE(within(3, [&] { return pixel(210, 260) == QColor(Qt::white); }))
      << "a window of the studio's is never dimmed";
  // Over the frame's left edge: window managers may keep the frame above it whatever the
  // levels, so the frame leaves it out.
  studioWindow.move(540, 400);
  const QPoint edge = viewfinder->framePanel()->mapFromGlobal(QPoint(600, 450));
  EXPECT_TRUE(within(3, [&] { return !viewfinder->framePanel()->mask().contains(edge); }));
  EXPECT_TRUE(within(3, [&] { return dimmedTo(pixel(210, 260), 0.58); }))
      << "where a studio window was, the desktop is dimmed again";
  studioWindow.move(150, 200);
  EXPECT_TRUE(within(3, [&] { return dimmedTo(pixel(560, 450), 0.58); }));
  EXPECT_TRUE(viewfinder->framePanel()->mask().isEmpty()) << "and the frame whole again";

  xdotool({"mousemove", "1800", "1050"});  // no pointer in the take
  engine->recording().beginCountdown();
  ASSERT_TRUE(within(10, [&] { return studio.phase() == Phase::recording; }));
  EXPECT_TRUE(within(5, [&] { return dimmedTo(pixel(300, 650), 0.74); })) << "recording dims by 0.26";
  EXPECT_TRUE(dimmedTo(pixel(825, 650), 1.0));
  // Long enough to be kept: a take under 0.7 s goes to the trash and the studio back to framing.
  ASSERT_TRUE(within(10, [&] { return studio.elapsed(mediaTime()) > 1.0; }));
  engine->recording().stop();
  ASSERT_TRUE(within(20, [&] { return studio.phase() == Phase::review; }));
  EXPECT_TRUE(within(5, [&] { return dimmedTo(pixel(825, 650), 0.58); })) << "review dims everything";

  // Every pixel of the take is the backdrop's: no bracket, no chip, no dimming.
  const QImage frame = test::frameAt(studio.take()->url.toLocalFile(), 0.3);
  ASSERT_FALSE(frame.isNull());
  int off = 0;
  for (int y = 10; y < frame.height(); y += 40)
    for (int x = 10; x < frame.width(); x += 40)
      if (!dimmedTo(frame.pixelColor(x, y), 1.0)) ++off;
  EXPECT_EQ(off, 0);
}

TEST_F(ViewfinderTest, withoutACompositorNothingIsDimmedAndTheFrameKeepsOnlyItsStrokesAsOneComesAndGoes) {
  open(false);
  EXPECT_EQ(pixel(300, 650), kGreen) << "not dimmed";
  EXPECT_EQ(pixel(570, 650), kGreen) << "between the brackets' arms the panel shows nothing";
  EXPECT_EQ(pixel(825, 650), kGreen);
  EXPECT_FALSE(viewfinder->framePanel()->mask().isEmpty());
  EXPECT_NE(pixel(600 - 3, 150 + 5), kGreen) << "the bracket is drawn";

  test::ChildProcess compositor({"xcompmgr"});
  ASSERT_TRUE(within(5, [&] { return viewfinder->compositing(); }));
  EXPECT_TRUE(within(5, [&] { return dimmedTo(pixel(300, 650), 0.58); })) << "dims once a compositor runs";

  compositor.stop();
  ASSERT_TRUE(within(5, [&] { return !viewfinder->compositing(); }));
  EXPECT_TRUE(within(5, [&] { return pixel(300, 650) == kGreen; })) << "and no longer once it stops";
  EXPECT_TRUE(within(5, [&] { return pixel(825, 650) == kGreen; })) << "the frame shaped to its strokes again";
}

// The band along the frame's edge grabs it, the inside is the application's, and the focus
// never leaves the application; without a compositor the band shows once the pointer is in it.
void grabsAtTheEdgeOnly(ViewfinderTest& t, bool compositor) {
  auto& backdrop = t.backdrop;
  t.open(compositor);
  xdotool({"windowactivate", "--sync", std::to_string(backdrop.id())});
  std::string active;
  test::runCommand({"xdotool", "getactivewindow"}, &active);
  ASSERT_EQ(std::stoul(active), backdrop.id());

  xdotool({"mousemove", "825", "650", "click", "1"});
  EXPECT_TRUE(within(3, [&] { return backdrop.presses() == 1; })) << "the inside is click-through";
  xdotool({"mousemove", "610", "650", "click", "1"});
  EXPECT_TRUE(within(3, [&] { return backdrop.presses() == 2; })) << "10 points inside the edge";
  xdotool({"mousemove", "580", "650"});
  if (!compositor) {
    EXPECT_TRUE(within(3, [&] { return t.pixel(580, 650) != kGreen; })) << "the band shows under the pointer";
  }
  xdotool({"click", "1"});
  settle(0.4);
  EXPECT_EQ(backdrop.presses(), 2) << "20 points outside the edge grabs the frame";

  xdotool({"mousemove", "590", "700"});
  xdotool({"mousedown", "1"});
  ASSERT_TRUE(within(3, [&] { return t.engine->dragging(); }));
  for (int x = 610; x <= 690; x += 20) xdotool({"mousemove", std::to_string(x), "700"});
  xdotool({"mouseup", "1"});
  EXPECT_TRUE(within(3, [&] { return std::abs(t.engine->home().x - 700) < 1; })) << "the frame followed the drag to " << t.engine->home().x;
  EXPECT_TRUE(within(3, [&] { return !t.engine->dragging(); })) << "and was let go";
  EXPECT_TRUE(t.studio.learnedFrame());
  test::runCommand({"xdotool", "getactivewindow"}, &active);
  EXPECT_EQ(std::stoul(active), backdrop.id()) << "the viewfinder never takes the focus";
  if (!compositor) {
    xdotool({"mousemove", "300", "300"});
    EXPECT_TRUE(within(3, [&] { return t.pixel(680, 650) == kGreen; })) << "the band goes with the pointer";
  }
}

TEST_F(ViewfinderTest, onlyTheEdgeBandTakesTheMouseAndTheFocusStaysWithTheApplication) {
  test::ChildProcess compositor({"xcompmgr"});
  grabsAtTheEdgeOnly(*this, true);
}

TEST_F(ViewfinderTest, withoutACompositorTheEdgeBandTakesTheMouseAsWell) { grabsAtTheEdgeOnly(*this, false); }

TEST_F(ViewfinderTest, theFrameKeepsOffADesktopPanelAndItsChipFlipsBelowAtTheTop) {
  // A taskbar along the top that reserves 40 points, as desktop panels do.
  test::OtherWindow panel{QRect(0, 0, 1920, 40), Qt::darkGray};
  ASSERT_EQ(test::runCommand({"xprop", "-id", std::to_string(panel.id()), "-f", "_NET_WM_STRUT_PARTIAL", "32c",
                              "-set", "_NET_WM_STRUT_PARTIAL", "0,0,40,0,0,0,0,0,0,1919,0,0"}),
            0);
  ASSERT_TRUE(within(5, [] { return QGuiApplication::primaryScreen()->availableGeometry().top() == 40; }));
  open(false);
  engine->beginDrag();
  engine->drag({600, -200, 450, 800});
  engine->endDrag();
  EXPECT_EQ(engine->home().y, 40) << "dragged up, the frame stops under the panel";
  EXPECT_TRUE(within(3, [&] { return viewfinder->framePanel()->geometry().top() == 40 - FrameZones::margin; }))
      << "no room above for the chip: the strip goes below the frame";
  EXPECT_TRUE(within(3, [&] { return pixel(600 + 60, 40 + 800 + 33) != kGreen; })) << "where the chip is drawn";

  engine->beginDrag();
  engine->drag({600, 200, 450, 800});
  engine->endDrag();
  EXPECT_TRUE(within(3, [&] { return viewfinder->framePanel()->geometry().top() == 200 - FrameZones::top; }))
      << "with room again, the chip is back above";

  engine->beginDrag();
  engine->drag({600, 40, 585, 1040});
  engine->endDrag();
  EXPECT_TRUE(within(3, [&] {
    const QRect g = viewfinder->framePanel()->geometry();
    return g.top() == 40 - FrameZones::margin && g.height() == 1040 + 2 * FrameZones::margin;
  })) << "as tall as the free screen, the frame holds its chip inside";
  EXPECT_TRUE(within(3, [&] { return pixel(600 + 60, 40 + 29) != kGreen; })) << "where the chip is drawn";
}

// Run as viewfinder_scaled_tests, with QT_SCALE_FACTOR=2: each point is two pixels each way,
// so the frame, the dim, the edge band and the take's area must all agree on the points.
TEST_F(ViewfinderTest, atTwiceTheScaleTheDimTheFrameTheBandAndTheTakeKeepToTheScreensPoints) {
  if (qEnvironmentVariable("QT_SCALE_FACTOR") != QStringLiteral("2")) GTEST_SKIP() << "needs QT_SCALE_FACTOR=2";
  test::ChildProcess compositor({"xcompmgr"});
  ASSERT_TRUE(within(5, [&] { return viewfinder->compositing(); }));
  xdotool({"mousemove", "1800", "1000"});
  engine->openAndWait();
  ASSERT_TRUE(within(5, [&] { return !engine->screen().rect.isEmpty(); }));
  EXPECT_EQ(engine->screen().rect, (Rect{0, 0, 960, 540}));
  EXPECT_EQ(engine->screen().scale, 2.0);
  // The backdrop spans pixels 100-1500 × 100-1000: points 50-750 × 50-500.
  engine->setHome({300, 80, 225, 400});
  EXPECT_EQ(viewfinder->dimPanel()->geometry(), QRect(0, 0, 960, 540));
  EXPECT_TRUE(within(5, [&] { return dimmedTo(pixel(2 * 200, 2 * 320), 0.58); })) << "the screen is dimmed";
  EXPECT_TRUE(dimmedTo(pixel(2 * 412, 2 * 320), 1.0)) << "but for the hole where the frame is";
  const QColor bracket = pixel(2 * 300 - 6, 2 * 80 + 10);
  EXPECT_FALSE(dimmedTo(bracket, 1.0) || dimmedTo(bracket, 0.58)) << "the bracket is drawn at the frame's corner";

  xdotool({"mousemove", std::to_string(2 * 290), std::to_string(2 * 320), "mousedown", "1"});
  for (int x = 300; x <= 330; x += 10) xdotool({"mousemove", std::to_string(2 * x), std::to_string(2 * 320)});
  xdotool({"mouseup", "1", "mousemove", "1800", "1000"});
  EXPECT_TRUE(within(3, [&] { return std::abs(engine->home().x - 340) < 1; })) << "the band 10 points out drags it";

  engine->recording().beginCountdown();
  ASSERT_TRUE(within(10, [&] { return studio.phase() == Phase::recording; }));
  ASSERT_TRUE(within(10, [&] { return studio.elapsed(mediaTime()) > 1.0; }));
  engine->recording().stop();
  ASSERT_TRUE(within(20, [&] { return studio.phase() == Phase::review; }));
  const QImage frame = test::frameAt(studio.take()->url.toLocalFile(), 0.3);
  ASSERT_FALSE(frame.isNull());
  QStringList off;
  for (int y = 10; y < frame.height(); y += 40)
    for (int x = 10; x < frame.width(); x += 40)
      if (!dimmedTo(frame.pixelColor(x, y), 1.0))
        off << QStringLiteral("%1,%2 %3").arg(x).arg(y).arg(frame.pixelColor(x, y).name());
  // Kept where a failed run can be looked at: this has failed twice in many runs, unexplained.
  const QString kept = QDir::tempPath() + "/vorn-scaled-take.png";
  if (!off.isEmpty()) frame.save(kept);
  EXPECT_TRUE(off.isEmpty()) << "the take is the backdrop alone: no bracket, no dim, nothing beside the window; "
                             << "off at " << off.join(", ").toStdString() << " (the picture: "
                             << kept.toStdString() << ")";
}

TEST_F(ViewfinderTest, aSuggestionLandsOnTheSalientPatchInsideTheFrontWindow) {
  test::ChildProcess other({"ffplay", "-loglevel", "quiet", "-an", "-noborder", "-left", "300", "-top", "150",
                            "-f", "lavfi", "-i",
                            "color=c=0x707070:s=800x600,drawbox=x=560:y=380:w=90:h=90:color=0xff2020:t=fill"});
  // In front of the backdrop: before ffplay maps its window, the backdrop alone is listed.
  ASSERT_TRUE(within(10, [] {
    const std::vector<Rect> windows = WindowList::windows({0, 0, 1920, 1080});
    return windows.size() == 2 && windows.front().width == 800 && windows.front().height == 600;
  }));
  open(false);
  std::optional<Rect> suggested;
  QObject::connect(engine.get(), &Engine::suggested, [&](const Rect& r) { suggested = r; });
  engine->suggest();
  ASSERT_TRUE(within(10, [&] { return suggested.has_value(); }));
  const Rect window = WindowList::windows({0, 0, 1920, 1080}).front();
  EXPECT_TRUE(window.contains(*suggested)) << "clamped into the window";
  EXPECT_TRUE(suggested->contains(Point{300 + 605, 150 + 425}))
      << "over the patch: " << suggested->x << "," << suggested->y << " " << suggested->width << "×" << suggested->height;
  EXPECT_TRUE(within(1, [&] { return viewfinder->frameView()->state().pulse > 0; })) << "the brackets pulse";
}

}  // namespace
}  // namespace vorn
