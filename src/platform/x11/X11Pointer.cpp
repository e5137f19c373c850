// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/X11Pointer.h"

#include "capture/ScreenScale.h"

#include <xcb/xcb.h>

#include <mutex>

namespace vorn {
namespace {

class X11Pointer final : public Pointer {
 public:
  X11Pointer(xcb_connection_t* connection, xcb_window_t root)
      : connection_(connection), root_(root) {}
  ~X11Pointer() override { xcb_disconnect(connection_); }

  std::optional<PointerState> query() override {
    std::lock_guard guard(mutex_);
    xcb_query_pointer_reply_t* reply =
        xcb_query_pointer_reply(connection_, xcb_query_pointer(connection_, root_), nullptr);
    if (!reply) return std::nullopt;
    PointerState state{ScreenScale::toPoints(Point{double(reply->root_x), double(reply->root_y)}),
                       (reply->mask & XCB_BUTTON_MASK_1) != 0};
    free(reply);
    return state;
  }

 private:
  std::mutex mutex_;  // one request/reply at a time on the connection
  xcb_connection_t* connection_;
  xcb_window_t root_;
};

}  // namespace

std::unique_ptr<Pointer> makeX11Pointer(const std::string& display) {
  int screenNumber = 0;
  xcb_connection_t* connection =
      xcb_connect(display.empty() ? nullptr : display.c_str(), &screenNumber);
  if (xcb_connection_has_error(connection)) {
    xcb_disconnect(connection);
    return nullptr;
  }
  xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (int i = 0; i < screenNumber && it.rem; ++i) xcb_screen_next(&it);
  return std::make_unique<X11Pointer>(connection, it.data->root);
}

}  // namespace vorn
