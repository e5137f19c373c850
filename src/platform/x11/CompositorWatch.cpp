// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/CompositorWatch.h"

#include "platform/x11/X11Desktop.h"

#include <xcb/xfixes.h>

#include <string>

namespace vorn {

CompositorWatch::CompositorWatch(X11Desktop& desktop) : desktop_(desktop) {
  xcb_connection_t* c = desktop.connection();
  const std::string name = "_NET_WM_CM_S0";
  XcbReply<xcb_intern_atom_reply_t> atom(
      xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(name.size()), name.c_str()), nullptr));
  if (!atom) return;
  selection_ = atom->atom;
  const xcb_query_extension_reply_t* xfixes = xcb_get_extension_data(c, &xcb_xfixes_id);
  if (xfixes && xfixes->present) {
    XcbReply<xcb_xfixes_query_version_reply_t>(
        xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 5, 0), nullptr));
    xcb_xfixes_select_selection_input(c, desktop.root(), selection_,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const uint8_t notify = xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    listening_ = desktop.listen([this, notify](const xcb_generic_event_t& e) {
      if ((e.response_type & 0x7f) == notify) check();
    });
  }
  check();
  desktop.readEvents();
}

void CompositorWatch::check() {
  xcb_connection_t* c = desktop_.connection();
  XcbReply<xcb_get_selection_owner_reply_t> owner(
      xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection_), nullptr));
  const bool running = owner && owner->owner != XCB_NONE;
  if (running == running_) return;
  running_ = running;
  Q_EMIT changed(running);
}

}  // namespace vorn
