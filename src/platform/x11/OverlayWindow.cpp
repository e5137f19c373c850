// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/OverlayWindow.h"

#include "platform/x11/X11Desktop.h"

#include <xcb/shape.h>
#include <xcb/xcb_ewmh.h>

namespace vorn::OverlayWindow {

void markOverlay(X11Desktop& desktop, unsigned long window) {
  xcb_connection_t* c = desktop.connection();
  xcb_ewmh_connection_t ewmh{};
  if (!xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(c, &ewmh), nullptr)) return;
  xcb_atom_t states[] = {ewmh._NET_WM_STATE_ABOVE, ewmh._NET_WM_STATE_STICKY,
                         ewmh._NET_WM_STATE_SKIP_TASKBAR, ewmh._NET_WM_STATE_SKIP_PAGER};
  xcb_ewmh_set_wm_state(&ewmh, xcb_window_t(window), 4, states);
  xcb_ewmh_set_wm_desktop(&ewmh, xcb_window_t(window), 0xFFFFFFFF);
  xcb_ewmh_connection_wipe(&ewmh);
  xcb_flush(c);
}

void setInputRegion(X11Desktop& desktop, unsigned long window, const std::vector<QRect>& rects) {
  std::vector<xcb_rectangle_t> shape;
  for (const QRect& r : rects)
    shape.push_back({int16_t(r.x()), int16_t(r.y()), uint16_t(r.width()), uint16_t(r.height())});
  xcb_shape_rectangles(desktop.connection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                       xcb_window_t(window), 0, 0, uint32_t(shape.size()), shape.data());
  xcb_flush(desktop.connection());
}

}  // namespace vorn::OverlayWindow
