// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/OtherWindow.h"

#include <cstdlib>
#include <cstring>

namespace vorn::test {
namespace {

xcb_atom_t atom(xcb_connection_t* connection, const char* name) {
  xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, uint16_t(std::strlen(name)), name), nullptr);
  const xcb_atom_t found = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
  std::free(reply);
  return found;
}

}  // namespace

OtherWindow::OtherWindow(QRect where, QColor colour) : connection_(xcb_connect(nullptr, nullptr)) {
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  window_ = xcb_generate_id(connection_);
  const uint32_t values[] = {colour.rgb() & 0xffffffu, XCB_EVENT_MASK_BUTTON_PRESS};
  xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root,
                    int16_t(where.x()), int16_t(where.y()), uint16_t(where.width()),
                    uint16_t(where.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                    screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
  // No decorations (the Motif hints every window manager reads), placed where asked.
  const uint32_t motif[] = {2, 0, 0, 0, 0};
  const xcb_atom_t hints = atom(connection_, "_MOTIF_WM_HINTS");
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, hints, hints, 32, 5, motif);
  const uint32_t size[18] = {1 | 2 | 4 | 8, uint32_t(where.x()), uint32_t(where.y()),
                             uint32_t(where.width()), uint32_t(where.height())};
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NORMAL_HINTS,
                      XCB_ATOM_WM_SIZE_HINTS, 32, 18, size);
  xcb_map_window(connection_, window_);
  sync();
}

OtherWindow::~OtherWindow() { xcb_disconnect(connection_); }

void OtherWindow::paint(QColor colour) {
  const uint32_t pixel = colour.rgb() & 0xffffffu;
  xcb_change_window_attributes(connection_, window_, XCB_CW_BACK_PIXEL, &pixel);
  xcb_clear_area(connection_, 0, window_, 0, 0, 0, 0);
  sync();
}

int OtherWindow::presses() {
  sync();
  while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
    if ((event->response_type & 0x7f) == XCB_BUTTON_PRESS) ++presses_;
    std::free(event);
  }
  return presses_;
}

void OtherWindow::sync() {
  std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

}  // namespace vorn::test
