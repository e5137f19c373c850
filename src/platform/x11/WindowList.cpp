// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/WindowList.h"

#include "capture/ScreenScale.h"
#include "platform/x11/X11Connection.h"

#include <xcb/xcb_ewmh.h>

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace vorn {
namespace {

struct Ewmh {
  xcb_ewmh_connection_t atoms{};
  bool ready = false;
  explicit Ewmh(xcb_connection_t* c) {
    ready = xcb_ewmh_init_atoms_replies(&atoms, xcb_ewmh_init_atoms(c, &atoms), nullptr) != 0;
  }
  ~Ewmh() {
    if (ready) xcb_ewmh_connection_wipe(&atoms);
  }
};

xcb_atom_t internAtom(xcb_connection_t* c, const char* name) {
  XcbReply<xcb_intern_atom_reply_t> reply(
      xcb_intern_atom_reply(c, xcb_intern_atom(c, 1, uint16_t(std::strlen(name)), name), nullptr));
  return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

bool hasAtom(const xcb_atom_t* atoms, uint32_t count, xcb_atom_t wanted) {
  return std::find(atoms, atoms + count, wanted) != atoms + count;
}

// Requests for one window, sent together so that a long list costs one round trip's wait.
struct Asked {
  xcb_get_window_attributes_cookie_t attributes;
  xcb_get_geometry_cookie_t geometry;
  xcb_translate_coordinates_cookie_t origin;
  xcb_get_property_cookie_t pid, type, state, extents, opacity;
};

WindowList::Window answer(xcb_connection_t* c, Ewmh& ewmh, const Asked& asked) {
  WindowList::Window w;
  XcbReply<xcb_get_window_attributes_reply_t> attributes(
      xcb_get_window_attributes_reply(c, asked.attributes, nullptr));
  XcbReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, asked.geometry, nullptr));
  XcbReply<xcb_translate_coordinates_reply_t> origin(
      xcb_translate_coordinates_reply(c, asked.origin, nullptr));
  uint32_t pid = 0;
  if (xcb_ewmh_get_wm_pid_reply(&ewmh.atoms, asked.pid, &pid, nullptr)) w.pid = pid_t(pid);
  xcb_ewmh_get_atoms_reply_t type;
  if (xcb_ewmh_get_wm_window_type_reply(&ewmh.atoms, asked.type, &type, nullptr)) {
    w.normal = hasAtom(type.atoms, type.atoms_len, ewmh.atoms._NET_WM_WINDOW_TYPE_NORMAL);
    xcb_ewmh_get_atoms_reply_wipe(&type);
  }
  xcb_ewmh_get_atoms_reply_t state;
  bool hidden = false;
  if (xcb_ewmh_get_wm_state_reply(&ewmh.atoms, asked.state, &state, nullptr)) {
    hidden = hasAtom(state.atoms, state.atoms_len, ewmh.atoms._NET_WM_STATE_HIDDEN);
    xcb_ewmh_get_atoms_reply_wipe(&state);
  }
  xcb_ewmh_get_extents_reply_t extents{};
  xcb_ewmh_get_frame_extents_reply(&ewmh.atoms, asked.extents, &extents, nullptr);
  XcbReply<xcb_get_property_reply_t> opacity(xcb_get_property_reply(c, asked.opacity, nullptr));
  if (opacity && opacity->format == 32 && xcb_get_property_value_length(opacity.get()) == 4)
    w.opacity = *static_cast<const uint32_t*>(xcb_get_property_value(opacity.get())) / 4294967295.0;

  w.shown = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE && !hidden;
  if (geometry && origin)
    w.frame = ScreenScale::toPoints(Rect{double(origin->dst_x) - extents.left, double(origin->dst_y) - extents.top,
                                         double(geometry->width) + extents.left + extents.right,
                                         double(geometry->height) + extents.top + extents.bottom});
  else
    w.shown = false;  // gone while we asked
  return w;
}

}  // namespace

std::vector<WindowList::Window> WindowList::stacking() {
  X11Session session = X11Session::open();
  if (!session) return {};
  xcb_connection_t* c = session.connection.get();
  const xcb_window_t root = session.screen->root;
  Ewmh ewmh(c);
  if (!ewmh.ready) return {};
  xcb_ewmh_get_windows_reply_t list;
  if (!xcb_ewmh_get_client_list_stacking_reply(&ewmh.atoms, xcb_ewmh_get_client_list_stacking(&ewmh.atoms, 0),
                                               &list, nullptr))
    return {};
  const xcb_atom_t opacityAtom = internAtom(c, "_NET_WM_WINDOW_OPACITY");
  std::vector<Asked> asked;
  // The stacking list runs bottom to top.
  for (uint32_t i = list.windows_len; i-- > 0;) {
    const xcb_window_t w = list.windows[i];
    asked.push_back({xcb_get_window_attributes(c, w), xcb_get_geometry(c, w),
                     xcb_translate_coordinates(c, w, root, 0, 0), xcb_ewmh_get_wm_pid(&ewmh.atoms, w),
                     xcb_ewmh_get_wm_window_type(&ewmh.atoms, w), xcb_ewmh_get_wm_state(&ewmh.atoms, w),
                     xcb_ewmh_get_frame_extents(&ewmh.atoms, w),
                     xcb_get_property(c, 0, w, opacityAtom, XCB_ATOM_CARDINAL, 0, 1)});
  }
  xcb_ewmh_get_windows_reply_wipe(&list);
  std::vector<Window> windows;
  for (const Asked& a : asked) windows.push_back(answer(c, ewmh, a));
  return windows;
}

std::vector<Rect> WindowList::candidates(const std::vector<Window>& frontToBack, pid_t ownPid,
                                         const Rect& displayBounds) {
  std::vector<Rect> rects;
  for (const Window& w : frontToBack) {
    if (!w.normal || !w.shown || w.opacity <= 0.1 || (w.pid != 0 && w.pid == ownPid)) continue;
    if (w.frame.width <= 120 || w.frame.height <= 120) continue;
    const Rect local{w.frame.x - displayBounds.x, w.frame.y - displayBounds.y, w.frame.width, w.frame.height};
    const Rect clipped = local.intersected({0, 0, displayBounds.width, displayBounds.height});
    if (!clipped.isEmpty()) rects.push_back(clipped);
  }
  return rects;
}

std::vector<Rect> WindowList::windows(const Rect& displayBounds) {
  return candidates(stacking(), getpid(), displayBounds);
}

}  // namespace vorn
