// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "app/RecordKey.h"
#include "app/StatusMenu.h"
#include "capture/ScreenSource.h"
#include "engine/Engine.h"
#include "engine/RenderLoop.h"
#include "platform/x11/HotKey.h"
#include "platform/x11/X11Desktop.h"
#include "model/Studio.h"
#include "reels/ReelMaker.h"

#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TestServices.h"

#include <QTest>
#include <QWidget>
#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

namespace vorn {
namespace {

using test::within;

void xdotool(std::vector<std::string> args) {
  args.insert(args.begin(), "xdotool");
  ASSERT_EQ(test::runCommand(args), 0);
}

// A panel's system tray (the freedesktop.org system tray protocol): it owns the tray
// selection and hears icons ask to dock.
class Tray {
 public:
  Tray() : c_(xcb_connect(nullptr, nullptr)) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
    window_ = xcb_generate_id(c_);
    xcb_create_window(c_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_set_selection_owner(c_, window_, atom("_NET_SYSTEM_TRAY_S0"), XCB_CURRENT_TIME);
    opcode_ = atom("_NET_SYSTEM_TRAY_OPCODE");
    xcb_flush(c_);
  }
  ~Tray() { xcb_disconnect(c_); }
  // Whether an icon asked to dock since the last call.
  bool askedToDock() {
    bool asked = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(c_)) {
      if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
        const auto* message = reinterpret_cast<xcb_client_message_event_t*>(event);
        asked |= message->type == opcode_ && message->data.data32[1] == 0;  // SYSTEM_TRAY_REQUEST_DOCK
      }
      std::free(event);
    }
    return asked;
  }

 private:
  xcb_atom_t atom(const char* name) {
    xcb_intern_atom_reply_t* reply =
        xcb_intern_atom_reply(c_, xcb_intern_atom(c_, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t atom = reply ? reply->atom : XCB_NONE;
    std::free(reply);
    return atom;
  }
  xcb_connection_t* c_;
  xcb_window_t window_ = 0;
  xcb_atom_t opcode_ = XCB_NONE;
};

// The studio as `vorn` wires it to the desktop, without its windows.
class StudioDesktop : public testing::Test {
 protected:
  void SetUp() override {
    test::pulseServer()->pactl({"load-module", "module-sine-source", "source_name=vsine"});
    test::pulseServer()->pactl({"set-default-source", "vsine"});
    studio.updatePrefs([](Prefs& p) {
      p.fps = 30;
      p.reels = false;
      p.clickZoom = true;
    });
    platform->openDesktop();
    ASSERT_TRUE(platform->overlays()) << "the desktop is open";
    Backends backends = platform->forEngine();
    services = backends.desktop;
    engine = std::make_unique<Engine>(studio, &reels, std::move(backends), StudioWindows{});
    recordKey = grabRecordKey(services, *engine);
    ASSERT_TRUE(recordKey);
  }
  void TearDown() override {
    recordKey.reset();
    engine->closeAndWait();
    engine.reset();
  }
  bool reaches(Phase phase, double seconds = 20) {
    return within(seconds, [&] { return studio.phase() == phase; });
  }

  Studio studio;
  ReelMaker reels{studio};
  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  DesktopServices services;
  std::unique_ptr<Engine> engine;
  std::shared_ptr<void> recordKey;
};

TEST_F(StudioDesktop, ctrlShift9FromAnotherClientOpensCountsRecordsStopsAndEscapeCancels) {
  engine->recording().setCountdownStep(1000);
  xdotool({"key", "ctrl+shift+9"});
  ASSERT_TRUE(reaches(Phase::framing, 10)) << "opened";
  xdotool({"key", "ctrl+shift+9"});
  ASSERT_TRUE(reaches(Phase::countdown, 5));
  auto other = X11Desktop::open();
  EXPECT_FALSE(HotKey::grab(*other, Qt::Key_Escape, {}, [] {})) << "the studio holds Escape now";
  xdotool({"key", "Escape"});
  ASSERT_TRUE(reaches(Phase::framing, 5)) << "Escape cancelled the countdown";
  EXPECT_TRUE(HotKey::grab(*other, Qt::Key_Escape, {}, [] {})) << "and gave Escape back";

  engine->recording().setCountdownStep(50);
  xdotool({"key", "ctrl+shift+9"});
  ASSERT_TRUE(reaches(Phase::recording));
  within(1.2, [] { return false; });
  xdotool({"key", "ctrl+shift+9"});
  ASSERT_TRUE(reaches(Phase::review)) << "stopped and finished";
  ASSERT_TRUE(studio.take());
  EXPECT_GT(studio.take()->duration, 0.7);
  xdotool({"key", "ctrl+shift+9"});
  EXPECT_TRUE(reaches(Phase::framing, 5)) << "review left for the next take";
}

TEST_F(StudioDesktop, aDraggedFrameSnapsToARealWindowAndAClickByAnotherClientZooms) {
  test::ChildProcess window({"xev", "-geometry", "600x400+700+300", "-name", "other"});
  engine->openAndWait();
  ASSERT_TRUE(within(10, [&] {
    return !services.otherWindows().empty();
  })) << "the window is mapped";
  const Rect frame = services.otherWindows().front();

  engine->beginDrag();
  const Rect home = engine->home();
  // Dropped 6 points left of the window's right edge: the frame's left edge lands on it.
  engine->drag({frame.x + frame.width - 6, 200, home.width, home.height});
  EXPECT_TRUE(engine->snapped());
  EXPECT_DOUBLE_EQ(engine->home().x, frame.x + frame.width);
  engine->endDrag();

  engine->recording().setCountdownStep(50);
  engine->recording().beginCountdown();
  ASSERT_TRUE(reaches(Phase::recording));
  const Rect live = engine->live();
  // A click on one of Vorn's windows over the area works the studio: no zoom there.
  QWidget own(nullptr, Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
  own.setGeometry(int(live.x) + 10, int(live.y) + 10, 100, 100);
  own.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&own));
  xdotool({"mousemove", std::to_string(int(live.x) + 60), std::to_string(int(live.y) + 60)});
  ASSERT_TRUE(within(5, [&] {
    const auto pointer = engine->screenSource().pointer.get();
    return pointer && pointer->overOwnWindow;
  }));
  int clicks = 0;  // heard after the engine, from the same events
  const auto watch = services.watchClicks([&](Point) { ++clicks; });
  xdotool({"click", "1"});
  ASSERT_TRUE(within(5, [&] { return clicks == 1; }));
  EXPECT_EQ(engine->renderLoop()->inputs.get().clickTime, 0);
  own.hide();

  const int x = int(live.x + live.width / 2), y = int(live.y + live.height / 2);
  xdotool({"mousemove", std::to_string(x), std::to_string(y), "click", "1"});
  ASSERT_TRUE(within(5, [&] { return engine->renderLoop()->inputs.get().clickTime > 0; }));
  EXPECT_EQ(engine->renderLoop()->inputs.get().clickPoint, (Point{double(x), double(y)}));
  within(0.8, [] { return false; });  // long enough to be kept
  engine->recording().stop();
  ASSERT_TRUE(reaches(Phase::review));
}

// A studio started with the session may come before the panel: its icon docks once a tray is
// there.
TEST_F(StudioDesktop, theTrayIconDocksInATrayThatComesLater) {
  StatusMenu menu(studio, *engine, reels);
  menu.showInTray();
  QTest::qWait(100);
  Tray tray;
  EXPECT_TRUE(within(10, [&] { return tray.askedToDock(); }));
}

}  // namespace
}  // namespace vorn
