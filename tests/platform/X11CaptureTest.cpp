// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Clock.h"
#include "capture/ScreenSource.h"
#include "platform/x11/GuiClient.h"
#include "platform/x11/X11ScreenBackend.h"
#include "platform/x11/X11WindowStack.h"
#include "platform/x11/X11Connection.h"
#include "support/ChildProcess.h"
#include "support/OtherWindow.h"
#include "support/TestServices.h"

#include <QApplication>
#include <QCursor>
#include <QPainter>
#include <QWidget>
#include <QtTest/QTest>
#include <gtest/gtest.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>

namespace vorn {
namespace {

// A borderless window filled with one colour, or split into two colours side by side.
class Swatch : public QWidget {
 public:
  Swatch(QRect where, QColor left, QColor right)
      : QWidget(nullptr, Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint),
        left_(left),
        right_(right) {
    setGeometry(where);
  }
  Swatch(QRect where, QColor colour) : Swatch(where, colour, colour) {}

  // Shows the window and waits until the server has it on screen.
  void showNow() {
    show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(this));
    repaint();
    QApplication::sync();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.fillRect(0, 0, width() / 2, height(), left_);
    painter.fillRect(width() / 2, 0, width() - width() / 2, height(), right_);
  }

 private:
  QColor left_, right_;
};

// Waits while keeping the Qt windows painted; the limit only keeps a broken build from hanging.
bool eventually(const std::function<bool()>& condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    QTest::qWait(5);
  }
  return true;
}

QRgb pixel(const ScreenFrame& frame, int x, int y) {
  return reinterpret_cast<const QRgb*>(frame.buffer->row(y))[x] | 0xff000000u;
}

// A wallpaper as setters leave it: a pixmap of one colour, named on the root window and shown
// as its background, for as long as this lives.
class Wallpaper {
 public:
  explicit Wallpaper(QColor colour) : c_(xcb_connect(nullptr, nullptr)) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
    root_ = screen->root;
    pixmap_ = xcb_generate_id(c_);
    xcb_create_pixmap(c_, screen->root_depth, pixmap_, root_, screen->width_in_pixels, screen->height_in_pixels);
    const xcb_gcontext_t gc = xcb_generate_id(c_);
    const uint32_t pixel = colour.rgb() & 0xffffffu;
    xcb_create_gc(c_, gc, pixmap_, XCB_GC_FOREGROUND, &pixel);
    const xcb_rectangle_t all{0, 0, screen->width_in_pixels, screen->height_in_pixels};
    xcb_poly_fill_rectangle(c_, pixmap_, gc, 1, &all);
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(c_, xcb_intern_atom(c_, 0, 13, "_XROOTPMAP_ID"), nullptr);
    atom_ = atom->atom;
    std::free(atom);
    xcb_change_property(c_, XCB_PROP_MODE_REPLACE, root_, atom_, XCB_ATOM_PIXMAP, 32, 1, &pixmap_);
    xcb_change_window_attributes(c_, root_, XCB_CW_BACK_PIXMAP, &pixmap_);
    xcb_clear_area(c_, 0, root_, 0, 0, 0, 0);
    std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
  }
  ~Wallpaper() {
    xcb_delete_property(c_, root_, atom_);
    const uint32_t none = XCB_BACK_PIXMAP_NONE;
    xcb_change_window_attributes(c_, root_, XCB_CW_BACK_PIXMAP, &none);
    xcb_disconnect(c_);
  }

 private:
  xcb_connection_t* c_;
  xcb_window_t root_ = 0;
  xcb_pixmap_t pixmap_ = 0;
  xcb_atom_t atom_ = 0;
};

// What `xsetroot -solid` does: the root's background colour changes, and nothing else.
void paintRoot(QColor colour) {
  xcb_connection_t* c = xcb_connect(nullptr, nullptr);
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
  const uint32_t pixel = colour.rgb() & 0xffffffu;
  xcb_change_window_attributes(c, root, XCB_CW_BACK_PIXEL, &pixel);
  xcb_clear_area(c, 0, root, 0, 0, 0, 0);
  std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  xcb_disconnect(c);
}

bool sameColour(QRgb a, QColor b) { return (a & 0xffffff) == (b.rgb() & 0xffffff); }

class X11CaptureTest : public testing::Test {
 protected:
  void SetUp() override {
    QCursor::setPos(1900, 1060);  // out of the way unless a test moves it
    QApplication::sync();
  }

  void startOn(Rect area) {
    source.start(0);
    // Asked again only until it is in force: asking for the area in force nudges its size.
    ASSERT_TRUE(eventually([&] {
      if (source.requested.get()->rect != area) source.request(area, false);
      const auto frame = source.latest.get();
      return frame && frame->rect == area;
    }));
  }

  ScreenSource source{std::make_unique<X11ScreenBackend>()};
};

TEST_F(X11CaptureTest, TheDisplayIsTheWholeXvfbScreen) {
  const std::vector<DisplayInfo> displays = X11ScreenBackend().displays();
  ASSERT_EQ(displays.size(), 1u);
  EXPECT_EQ(displays[0].rect, (Rect{0, 0, 1920, 1080}));
  EXPECT_EQ(displays[0].scale, 1.0);
}

TEST_F(X11CaptureTest, AWindowIsCapturedWithItsColoursInPlace) {
  Swatch swatch({200, 150, 400, 300}, QColor(220, 30, 40), QColor(20, 40, 210));
  swatch.showNow();
  startOn({150, 100, 500, 400});
  const ScreenFrame frame = *source.latest.get();
  ASSERT_EQ(frame.buffer->width(), 500);
  ASSERT_EQ(frame.buffer->height(), 400);
  // The window's corners land 50 pixels in from the area's corner.
  EXPECT_TRUE(sameColour(pixel(frame, 50, 50), QColor(220, 30, 40)));
  EXPECT_FALSE(sameColour(pixel(frame, 49, 50), QColor(220, 30, 40)));
  EXPECT_FALSE(sameColour(pixel(frame, 50, 49), QColor(220, 30, 40)));
  EXPECT_TRUE(sameColour(pixel(frame, 249, 200), QColor(220, 30, 40)));
  EXPECT_TRUE(sameColour(pixel(frame, 250, 200), QColor(20, 40, 210)));
  EXPECT_TRUE(sameColour(pixel(frame, 449, 349), QColor(20, 40, 210)));
  EXPECT_FALSE(sameColour(pixel(frame, 450, 349), QColor(20, 40, 210)));
  EXPECT_EQ(qAlpha(reinterpret_cast<const QRgb*>(frame.buffer->row(0))[0]), 255);
}

TEST_F(X11CaptureTest, AnAreaIsScaledToTheOutputSize) {
  Swatch swatch({0, 0, 800, 600}, QColor(10, 200, 10), QColor(200, 200, 10));
  swatch.showNow();
  X11ScreenBackend backend;
  Locked<FrameRef> delivered;
  ScreenSinks sinks;
  sinks.onFrame = [&](FrameRef frame, const ScreenConfig&, double) { delivered.set(std::move(frame)); };
  backend.start(backend.displays().front(), {Rect{0, 0, 800, 600}, 400, 300},
                OwnClient{}, std::move(sinks));
  ASSERT_TRUE(eventually([&] { return delivered.get() != nullptr; }));
  backend.stop();
  const FrameBuffer& frame = *delivered.get();
  ASSERT_EQ(frame.width(), 400);
  ASSERT_EQ(frame.height(), 300);
  const auto at = [&](int x, int y) { return reinterpret_cast<const QRgb*>(frame.row(y))[x]; };
  EXPECT_TRUE(sameColour(at(100, 150), QColor(10, 200, 10)));
  EXPECT_TRUE(sameColour(at(300, 150), QColor(200, 200, 10)));
  EXPECT_EQ(qAlpha(at(300, 150)), 255);
}

TEST_F(X11CaptureTest, TheCursorIsDrawnIntoTheFrame) {
  const QColor green(10, 200, 10);
  Swatch swatch({300, 300, 300, 300}, green);
  swatch.showNow();
  startOn({300, 300, 300, 300});
  QCursor::setPos(450, 450);
  QApplication::sync();
  ASSERT_TRUE(eventually([&] {
    const ScreenFrame frame = *source.latest.get();
    for (int y = 150; y < 166; ++y)
      for (int x = 150; x < 166; ++x)
        if (!sameColour(pixel(frame, x, y), green)) return true;
    return false;
  }));
}

// A pointer working one of Vorn's windows is not part of the picture.
TEST_F(X11CaptureTest, TheCursorIsLeftOutOverVornsWindows) {
  const QColor green(10, 200, 10);
  test::OtherWindow other(QRect(0, 0, 1000, 500), green);
  Swatch studio(QRect(600, 100, 300, 300), QColor(230, 0, 230));
  studio.showNow();
  source.leaveOut(guiClient());
  startOn({0, 0, 1000, 500});
  const auto cursorDrawnAt = [&](int px, int py) {
    const ScreenFrame frame = *source.latest.get();
    for (int y = py; y < py + 16; ++y)
      for (int x = px; x < px + 16; ++x)
        if (!sameColour(pixel(frame, x, y), green)) return true;
    return false;
  };
  QCursor::setPos(300, 250);
  ASSERT_TRUE(eventually([&] { return cursorDrawnAt(300, 250); }));
  QCursor::setPos(750, 250);
  EXPECT_TRUE(eventually([&] { return !cursorDrawnAt(300, 250) && !cursorDrawnAt(750, 250); }));
}

TEST_F(X11CaptureTest, AClickLeavesARingAroundIt) {
  const QColor green(10, 200, 10);
  Swatch swatch({300, 300, 300, 300}, green);
  swatch.showNow();
  startOn({300, 300, 300, 300});
  QCursor::setPos(450, 450);
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  xcb_test_fake_input(connection, XCB_BUTTON_PRESS, 1, XCB_CURRENT_TIME, root, 0, 0, 0);
  xcb_flush(connection);
  // Left of the click, where the pointer's picture never reaches.
  const bool ring = eventually([&] {
    const ScreenFrame frame = *source.latest.get();
    for (int x = 150 - 32; x < 150 - 8; ++x)
      if (!sameColour(pixel(frame, x, 150), green)) return true;
    return false;
  });
  xcb_test_fake_input(connection, XCB_BUTTON_RELEASE, 1, XCB_CURRENT_TIME, root, 0, 0, 0);
  xcb_flush(connection);
  xcb_disconnect(connection);
  EXPECT_TRUE(ring);
}


// Vorn's own windows (here: every Qt window of the test) never show in a frame, with or
// without a compositing manager; where they lie, the frame shows the other windows' pixels as
// they are now, not as they were.
TEST_F(X11CaptureTest, OwnWindowsNeverAppearInAFrameAndWhatTheyCoverStaysLive) {
  const QColor green(10, 200, 10), blue(20, 40, 210), magenta(230, 0, 230);
  const Rect area{100, 100, 600, 400};
  for (const bool compositing : {false, true}) {
    SCOPED_TRACE(compositing ? "with a compositing manager" : "without one");
    std::optional<test::ChildProcess> compositor;
    if (compositing) {
      compositor.emplace(std::vector<std::string>{"xcompmgr"});
      ASSERT_TRUE(eventually(test::compositorRuns));
    }
    test::OtherWindow backdrop(QRect(100, 100, 600, 400), green);
    ScreenSource own{std::make_unique<X11ScreenBackend>()};
    own.leaveOut(guiClient());
    own.start(0);
    ASSERT_TRUE(own.leavesOutOwnWindows());
    ASSERT_TRUE(eventually([&] {
      if (own.requested.get()->rect != area) own.request(area, false);
      const auto frame = own.latest.get();
      return frame && frame->rect == area;
    }));

    Swatch studio(QRect(250, 200, 200, 150), magenta);
    studio.showNow();
    ConstFrameRef seen;
    int magentaFrames = 0;
    // Waits for frames whose studio place (frame pixel 250, 175) shows `colour`, counting
    // every frame that shows the studio on the way.
    const auto showsUnderStudio = [&](QColor colour) {
      return eventually([&] {
        studio.repaint();
        const ScreenFrame frame = *own.latest.get();
        if (frame.buffer == seen) return false;
        seen = frame.buffer;
        for (int y = 0; y < 400; y += 3)
          for (int x = 0; x < 600; x += 3)
            if (sameColour(pixel(frame, x, y), magenta)) {
              ++magentaFrames;
              return false;
            }
        return sameColour(pixel(frame, 250, 175), colour);
      });
    };
    EXPECT_TRUE(showsUnderStudio(green));
    backdrop.paint(blue);
    EXPECT_TRUE(showsUnderStudio(blue)) << "the covered part follows the window below";
    studio.move(400, 300);
    QApplication::sync();
    backdrop.paint(green);
    EXPECT_TRUE(showsUnderStudio(green));
    if (compositing) {
      // A manager too busy to repaint: the screen goes on showing the studio where it was, for
      // longer than any repaint is waited for, and that place is still built from the windows.
      ::kill(compositor->pid(), SIGSTOP);
      studio.move(250, 200);
      QApplication::sync();
      const double moved = mediaTime();
      for (bool blueNow = true; mediaTime() - moved < 3 * X11WindowStack::settleSeconds; blueNow = !blueNow) {
        backdrop.paint(blueNow ? blue : green);
        EXPECT_TRUE(showsUnderStudio(blueNow ? blue : green));
      }
      ::kill(compositor->pid(), SIGCONT);
    }
    EXPECT_EQ(magentaFrames, 0);
    own.stop();
  }
}

// The viewfinder's dim covers the whole screen with a hole cut into its shape: only what a
// shaped window of Vorn's draws counts as Vorn's, so an area in the hole is grabbed directly.
TEST_F(X11CaptureTest, OnlyWhatAShapedWindowOfVornsDrawsCountsAsVorns) {
  X11Session session = X11Session::open();
  ASSERT_TRUE(session);
  X11WindowStack stack(session.connection.get(), session.screen->root, guiClient(), false);
  const auto ownRegion = [&] {
    while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(session.connection.get())})
      stack.handle(event.get(), 0);
    return stack.ownRegion(X11WindowStack::leftPlaceSeconds);  // the places left behind given up
  };
  Swatch dim(QRect(0, 0, 1920, 1080), Qt::black);
  dim.setMask(QRegion(dim.rect()) - QRect(300, 200, 400, 300));
  dim.showNow();
  EXPECT_TRUE(eventually([&] { return ownRegion() == QRegion(0, 0, 1920, 1080) - QRect(300, 200, 400, 300); }));

  dim.setMask(QRegion(dim.rect()) - QRect(900, 200, 400, 300));
  QApplication::sync();
  EXPECT_TRUE(eventually([&] { return ownRegion() == QRegion(0, 0, 1920, 1080) - QRect(900, 200, 400, 300); }))
      << "the hole moved with the frame";
  dim.clearMask();
  dim.resize(800, 600);
  QApplication::sync();
  EXPECT_TRUE(eventually([&] { return ownRegion() == QRegion(0, 0, 800, 600); })) << "unshaped: all of it";
}

TEST_F(X11CaptureTest, TheWallpaperShowsUnderVornsWindowsWhereNoOtherWindowIs) {
  const QColor orange(240, 140, 20), magenta(230, 0, 230);
  Wallpaper wallpaper(orange);
  ScreenSource own{std::make_unique<X11ScreenBackend>()};
  own.leaveOut(guiClient());
  own.start(0);
  const Rect area{100, 100, 600, 400};
  ASSERT_TRUE(eventually([&] {
    if (own.requested.get()->rect != area) own.request(area, false);
    const auto frame = own.latest.get();
    return frame && frame->rect == area;
  }));
  Swatch studio(QRect(250, 200, 200, 150), magenta);
  studio.showNow();
  EXPECT_TRUE(eventually([&] {
    studio.repaint();
    return sameColour(pixel(*own.latest.get(), 250, 175), orange);
  })) << "the desktop's picture, not black, where the studio's window lies";
  own.stop();
}

// A pointer over one of Vorn's windows is told apart from one over another application's.
TEST_F(X11CaptureTest, ThePointerIsSeenOverVornsWindows) {
  test::OtherWindow other(QRect(100, 100, 300, 300), QColor(10, 200, 10));
  Swatch studio(QRect(600, 100, 300, 300), QColor(230, 0, 230));
  studio.showNow();
  source.leaveOut(guiClient());
  startOn({0, 0, 1000, 500});
  const auto seenAt = [&](QPoint where, bool overOwn) {
    QCursor::setPos(where);
    QApplication::sync();
    return eventually([&] {
      const auto state = source.pointer.get();
      return state && state->position == Point{double(where.x()), double(where.y())} &&
             state->overOwnWindow == overOwn;
    });
  };
  EXPECT_TRUE(seenAt({250, 250}, false));
  EXPECT_TRUE(seenAt({750, 250}, true));
  EXPECT_TRUE(seenAt({500, 250}, false));
}

// Still windows cost nothing; drawing in a window or on the root itself (a background set with
// `xsetroot`) is grabbed at once.
TEST_F(X11CaptureTest, AnUnchangedAreaIsNotGrabbedAgain) {
  Swatch swatch({0, 0, 400, 400}, QColor(10, 200, 10));
  swatch.showNow();
  startOn({0, 0, 600, 400});
  const ConstFrameRef first = source.latest.get()->buffer;
  QTest::qWait(300);
  ASSERT_EQ(source.latest.get()->buffer, first);
  const QColor orange(240, 140, 20);
  paintRoot(orange);
  EXPECT_TRUE(eventually([&] { return sameColour(pixel(*source.latest.get(), 500, 200), orange); }));
  const ConstFrameRef second = source.latest.get()->buffer;
  Swatch change({100, 100, 50, 50}, QColor(200, 10, 10));
  change.showNow();
  EXPECT_TRUE(eventually([&] { return source.latest.get()->buffer != second; }));
}

}  // namespace
}  // namespace vorn
