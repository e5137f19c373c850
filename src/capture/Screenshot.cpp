// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/Screenshot.h"

#include "capture/ScreenScale.h"
#include "capture/X11Connection.h"

#include <cstdlib>

namespace vorn {
namespace {

QImage grabRoot(const DisplayInfo& display) {
  X11Session session = X11Session::open();
  if (!session) return {};
  xcb_connection_t* c = session.connection.get();
  const PixelRect pixels = ScreenScale::displayPixels(display.rect, display.scale);
  const int x = pixels.x, y = pixels.y, w = pixels.width, h = pixels.height;
  XcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(
      c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, session.screen->root, int16_t(x), int16_t(y), uint16_t(w),
                       uint16_t(h), ~0u),
      nullptr));
  if (!image || image->depth < 24 || xcb_get_image_data_length(image.get()) < w * h * 4) return {};
  return QImage(xcb_get_image_data(image.get()), w, h, w * 4, QImage::Format_RGB32).copy();
}

}  // namespace

QImage screenshot(const DisplayInfo& display, double scale) {
  const char* sample = std::getenv("VORN_SAMPLE_SCREEN");
  const QImage full = sample ? QImage(QString::fromLocal8Bit(sample)) : grabRoot(display);
  if (full.isNull()) return {};
  return full.scaled(std::max(1, int(full.width() * scale)), std::max(1, int(full.height() * scale)),
                     Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

}  // namespace vorn
