// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/X11ScreenBackend.h"

#include "capture/GrabLoop.h"
#include "capture/ScreenScale.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Grabber.h"

#include <xcb/randr.h>

namespace vorn {
namespace {

// A display of `pixels`, in the points the toolkit places windows in.
DisplayInfo displayOf(uint32_t id, std::string name, const Rect& pixels) {
  return {id, std::move(name), ScreenScale::toPoints(pixels), ScreenScale::scaleAt({pixels.x, pixels.y})};
}

std::string atomName(xcb_connection_t* connection, xcb_atom_t atom) {
  XcbReply<xcb_get_atom_name_reply_t> reply(
      xcb_get_atom_name_reply(connection, xcb_get_atom_name(connection, atom), nullptr));
  if (!reply) return {};
  return std::string(xcb_get_atom_name_name(reply.get()),
                     size_t(xcb_get_atom_name_name_length(reply.get())));
}

// One display per active RandR monitor, named after the monitor; the monitor's name atom is
// its id, stable while the server runs.
std::vector<DisplayInfo> monitors(xcb_connection_t* connection, xcb_window_t root) {
  std::vector<DisplayInfo> displays;
  const xcb_query_extension_reply_t* randr = xcb_get_extension_data(connection, &xcb_randr_id);
  if (!randr || !randr->present) return displays;
  XcbReply<xcb_randr_query_version_reply_t> version(xcb_randr_query_version_reply(
      connection, xcb_randr_query_version(connection, 1, 5), nullptr));
  if (!version || (version->major_version == 1 && version->minor_version < 5)) return displays;
  XcbReply<xcb_randr_get_monitors_reply_t> reply(xcb_randr_get_monitors_reply(
      connection, xcb_randr_get_monitors(connection, root, 1), nullptr));
  if (!reply) return displays;
  for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem;
       xcb_randr_monitor_info_next(&it)) {
    const xcb_randr_monitor_info_t& monitor = *it.data;
    if (monitor.width == 0 || monitor.height == 0) continue;
    displays.push_back(displayOf(monitor.name, atomName(connection, monitor.name),
                                 Rect{double(monitor.x), double(monitor.y), double(monitor.width),
                                      double(monitor.height)}));
  }
  return displays;
}

}  // namespace

X11Session X11Session::open() {
  X11Session session;
  int screenNumber = 0;
  XcbConnection connection(xcb_connect(nullptr, &screenNumber));
  if (!connection || xcb_connection_has_error(connection.get())) return session;
  auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
  for (int i = 0; i < screenNumber && screens.rem; ++i) xcb_screen_next(&screens);
  if (!screens.rem) return session;
  session.screen = screens.data;
  session.connection = std::move(connection);
  return session;
}

X11ScreenBackend::X11ScreenBackend() = default;

X11ScreenBackend::~X11ScreenBackend() { stop(); }

std::vector<DisplayInfo> X11ScreenBackend::displays() {
  X11Session session = X11Session::open();
  if (!session) return {};
  std::vector<DisplayInfo> found = monitors(session.connection.get(), session.screen->root);
  // A server without RandR monitors still has its one screen.
  if (found.empty())
    found.push_back(displayOf(1, "Screen",
                              Rect{0, 0, double(session.screen->width_in_pixels),
                                   double(session.screen->height_in_pixels)}));
  return found;
}

void X11ScreenBackend::start(const DisplayInfo& display, const ScreenConfig& config,
                             OwnClient own, ScreenSinks sinks) {
  stop();
  auto grabber = std::make_unique<X11Grabber>(display, own, sinks.onPointer);
  leavesOut_ = grabber->leavesOutOwnWindows();
  running_.start(std::move(grabber), config, std::move(sinks));
}

void X11ScreenBackend::stop() { running_.stop(); }

QImage X11ScreenBackend::screenshot(const DisplayInfo& display) {
  X11Session session = X11Session::open();
  if (!session) return {};
  xcb_connection_t* c = session.connection.get();
  const PixelRect pixels = ScreenScale::displayPixels(display.rect, display.scale);
  const int x = pixels.x, y = pixels.y, w = pixels.width, h = pixels.height;
  XcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(
      c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, session.screen->root, int16_t(x), int16_t(y),
                       uint16_t(w), uint16_t(h), ~0u),
      nullptr));
  if (!image || image->depth < 24 || xcb_get_image_data_length(image.get()) < w * h * 4) return {};
  return QImage(xcb_get_image_data(image.get()), w, h, w * 4, QImage::Format_RGB32).copy();
}

void X11ScreenBackend::update(const ScreenConfig& config, Completion done) {
  running_.update(config, std::move(done));
}

}  // namespace vorn
