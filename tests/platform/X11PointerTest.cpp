// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/X11Pointer.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace vorn {
namespace {

TEST(X11Pointer, followsThePointerAndItsButton) {
  std::unique_ptr<Pointer> pointer = makeX11Pointer();
  ASSERT_NE(pointer, nullptr);

  xcb_connection_t* c = xcb_connect(nullptr, nullptr);
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
  xcb_warp_pointer(c, XCB_NONE, root, 0, 0, 0, 0, 321, 654);
  free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));  // round trip

  auto state = pointer->query();
  ASSERT_TRUE(state);
  EXPECT_EQ(state->position, (Point{321, 654}));
  EXPECT_FALSE(state->pressed);

  xcb_test_fake_input(c, XCB_BUTTON_PRESS, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
  free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  EXPECT_TRUE(pointer->query()->pressed);
  xcb_test_fake_input(c, XCB_BUTTON_RELEASE, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
  free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  EXPECT_FALSE(pointer->query()->pressed);
  xcb_disconnect(c);
}

TEST(X11Pointer, anUnreachableDisplayGivesNoPointer) {
  EXPECT_EQ(makeX11Pointer(":987"), nullptr);
}

}  // namespace
}  // namespace vorn
