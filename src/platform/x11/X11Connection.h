// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace vorn {

struct XcbDisconnect {
  void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

// xcb replies and events are malloc'ed and released with free().
struct XcbFree {
  void operator()(void* p) const { std::free(p); }
};
template <class T>
using XcbReply = std::unique_ptr<T, XcbFree>;

// A connection to the X server named by DISPLAY and its root window; `connection` is null
// when there is no server to talk to.
struct X11Session {
  XcbConnection connection;
  xcb_screen_t* screen = nullptr;

  static X11Session open();
  explicit operator bool() const { return connection != nullptr; }
};

}  // namespace vorn
