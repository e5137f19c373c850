// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/ClickMonitor.h"

#include "base/Handle.h"
#include "capture/ScreenScale.h"
#include "platform/x11/X11Desktop.h"

#include <xcb/xinput.h>

namespace vorn {
namespace {

bool selectRawPresses(xcb_connection_t* c, xcb_window_t root, uint32_t mask) {
  struct {
    xcb_input_event_mask_t head;
    uint32_t bits;
  } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, mask};
  return !XcbReply<xcb_generic_error_t>(
      xcb_request_check(c, xcb_input_xi_select_events_checked(c, root, 1, &selection.head)));
}

}  // namespace

std::shared_ptr<void> ClickMonitor::watch(X11Desktop& desktop, std::function<void(Point)> onPress) {
  xcb_connection_t* c = desktop.connection();
  const xcb_query_extension_reply_t* extension = xcb_get_extension_data(c, &xcb_input_id);
  if (!extension || !extension->present) return nullptr;
  XcbReply<xcb_input_xi_query_version_reply_t> version(
      xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
  if (!version || version->major_version < 2) return nullptr;
  const xcb_window_t root = desktop.root();
  if (!selectRawPresses(c, root, XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS)) return nullptr;
  desktop.readEvents();

  const uint8_t opcode = extension->major_opcode;
  auto listening = desktop.listen([c, root, opcode, onPress = std::move(onPress)](const xcb_generic_event_t& e) {
    if ((e.response_type & 0x7f) != XCB_GE_GENERIC) return;
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(e);
    if (generic.extension != opcode || generic.event_type != XCB_INPUT_RAW_BUTTON_PRESS) return;
    if (reinterpret_cast<const xcb_input_raw_button_press_event_t&>(e).detail != 1) return;
    // Raw events carry no position: the pointer is still where the press happened.
    XcbReply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(c, xcb_query_pointer(c, root), nullptr));
    if (pointer) onPress(ScreenScale::toPoints(Point{double(pointer->root_x), double(pointer->root_y)}));
  });
  // Like the desktop's other handles, this one must not outlive the desktop.
  return releasing([listening, c, root]() mutable {
    listening.reset();
    selectRawPresses(c, root, 0);
  });
}

}  // namespace vorn
