// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/X11Grabber.h"

#include "capture/ScreenScale.h"

#include "base/Clock.h"

#include <QtGlobal>

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/shm.h>

namespace vorn {

// A System V shared memory segment attached to the X server for writing into.
class ShmSegment {
 public:
  ShmSegment(xcb_connection_t* connection, size_t bytes) : connection_(connection) {
    const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (id < 0) throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "Shared memory for the screen capture is not available."));
    void* address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
      shmctl(id, IPC_RMID, nullptr);
      throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "Shared memory for the screen capture is not available."));
    }
    data = static_cast<uint8_t*>(address);
    seg = xcb_generate_id(connection);
    XcbReply<xcb_generic_error_t> error(
        xcb_request_check(connection, xcb_shm_attach_checked(connection, seg, id, 0)));
    // Marked for removal at once: it goes away with its last user, even after a crash.
    shmctl(id, IPC_RMID, nullptr);
    if (error) {
      shmdt(data);
      throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The X server cannot share memory with Vorn."));
    }
  }
  ~ShmSegment() {
    xcb_shm_detach(connection_, seg);
    xcb_flush(connection_);
    shmdt(data);
  }
  ShmSegment(const ShmSegment&) = delete;
  ShmSegment& operator=(const ShmSegment&) = delete;

  uint8_t* data = nullptr;
  xcb_shm_seg_t seg = 0;

 private:
  xcb_connection_t* connection_;
};

namespace {

bool hasExtension(xcb_connection_t* connection, xcb_extension_t* extension, uint8_t* firstEvent) {
  const xcb_query_extension_reply_t* data = xcb_get_extension_data(connection, extension);
  if (!data || !data->present) return false;
  if (firstEvent) *firstEvent = data->first_event;
  return true;
}

QRect displayPixels(const DisplayInfo& display) {
  const PixelRect p = ScreenScale::displayPixels(display.rect, display.scale);
  return QRect(p.x, p.y, p.width, p.height);
}

QRect pixelsOf(const Rect& points, double scale) {
  const int left = int(std::lround(points.x * scale));
  const int top = int(std::lround(points.y * scale));
  return QRect(left, top, int(std::lround(points.maxX() * scale)) - left,
               int(std::lround(points.maxY() * scale)) - top);
}

// Vorn's windows changing while the picture was taken: it is taken again, this often at most.
constexpr int kRetakes = 3;

// Pointer pictures are at most this far from the hot spot on any side we care about.
constexpr int cursorReach = 64;
constexpr uint16_t clickButtons =
    XCB_KEY_BUT_MASK_BUTTON_1 | XCB_KEY_BUT_MASK_BUTTON_2 | XCB_KEY_BUT_MASK_BUTTON_3;

}  // namespace

X11Grabber::X11Grabber(const DisplayInfo& display, OwnClient own,
                       std::function<void(const PointerState&)> onPointer)
    : session_(X11Session::open()),
      display_(displayPixels(display)),
      scale_(display.scale),
      onPointer_(std::move(onPointer)) {
  if (!session_) throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "Cannot connect to the X server."));
  xcb_connection_t* connection = session_.connection.get();
  if (!hasExtension(connection, &xcb_shm_id, nullptr))
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The X server does not offer shared memory (MIT-SHM)."));
  const size_t bytes = size_t(display_.width()) * size_t(display_.height()) * 4;
  area_ = std::make_unique<ShmSegment>(connection, bytes);
  scratch_ = std::make_unique<ShmSegment>(connection, bytes);
  setUpComposite();
  setUpDamage();
  stack_.emplace(connection, session_.screen->root, own, hasDamage_);
  XcbReply<xcb_intern_atom_reply_t> atom(
      xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, 13, "_XROOTPMAP_ID"), nullptr));
  if (atom) wallpaperAtom_ = atom->atom;
  setUpCursor();
  xcb_flush(connection);
}

X11Grabber::~X11Grabber() = default;

// Automatic redirection gives every top-level window a picture of its own, whole even where
// other windows cover it, while the server goes on painting the screen. Any number of clients
// may ask for it, beside a compositing manager's manual redirection; it ends with this
// connection.
void X11Grabber::setUpComposite() {
  xcb_connection_t* connection = session_.connection.get();
  if (!hasExtension(connection, &xcb_composite_id, nullptr)) return;
  XcbReply<xcb_composite_query_version_reply_t> version(xcb_composite_query_version_reply(
      connection, xcb_composite_query_version(connection, 0, 4), nullptr));
  if (!version) return;
  XcbReply<xcb_generic_error_t> error(xcb_request_check(
      connection, xcb_composite_redirect_subwindows_checked(
                      connection, session_.screen->root, XCB_COMPOSITE_REDIRECT_AUTOMATIC)));
  redirected_ = !error;
}

void X11Grabber::setUpDamage() {
  xcb_connection_t* connection = session_.connection.get();
  if (!hasExtension(connection, &xcb_damage_id, &damageEvent_)) return;
  XcbReply<xcb_damage_query_version_reply_t> version(xcb_damage_query_version_reply(
      connection, xcb_damage_query_version(connection, 1, 1), nullptr));
  hasDamage_ = version != nullptr;
  if (!hasDamage_) return;
  // The windows' damage misses what is drawn on the root itself (`xsetroot`, a desktop that
  // paints its background there). Redirected windows painted onto the root show here too.
  rootDamage_ = xcb_generate_id(connection);
  xcb_damage_create(connection, rootDamage_, session_.screen->root,
                    XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
}

void X11Grabber::setUpCursor() {
  xcb_connection_t* connection = session_.connection.get();
  if (!hasExtension(connection, &xcb_xfixes_id, &fixesEvent_)) return;
  XcbReply<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
      connection, xcb_xfixes_query_version(connection, 4, 0), nullptr));
  if (!version) return;
  hasCursor_ = true;
  xcb_xfixes_select_cursor_input(connection, session_.screen->root,
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
}

QRect X11Grabber::sourcePixels(const ScreenConfig& config) const {
  return pixelsOf(config.sourceRect, scale_).translated(display_.topLeft());
}

QRegion X11Grabber::ownIn(const QRect& source, double now) {
  if (!redirected_) return {};
  return stack_->ownRegion(now) & source;
}

Grabber::Result X11Grabber::grab(const ScreenConfig& config, bool changed) {
  xcb_connection_t* connection = session_.connection.get();
  if (xcb_connection_has_error(connection))
    return Result::lostWith(QT_TRANSLATE_NOOP("Platform", "The connection to the X server was lost."));
  const QRect source = sourcePixels(config);
  if (source.isEmpty() || !display_.contains(source) || config.width <= 0 || config.height <= 0)
    return Result::unsupported(QT_TRANSLATE_NOOP("Platform", "The capture area lies outside the display."));

  const double now = mediaTime();
  readEvents(source, now);
  readPointer(now);
  QRegion own = ownIn(source, now);
  if (!needsFrame(source, changed, now, own)) return {};
  // Whatever is drawn from here on, even while the picture is taken, calls for the next one.
  dirty_ = false;
  cursorRedraw_ = false;
  // The events that arrive with the picture tell whether Vorn's windows changed before it was
  // taken: then it may show one of them, and is taken again.
  bool clean = false, read = true;
  for (int attempt = 0; attempt < kRetakes && !clean && read; ++attempt) {
    read = capture(source, own);
    if (!read) break;
    readEvents(source, now);
    const QRegion after = ownIn(source, now);
    clean = after == own;
    own = after;
  }
  FrameRef frame = clean ? makeFrame(config, source, now) : nullptr;
  if (!frame) {
    dirty_ = true;
    return Result::skip(read ? "" : QT_TRANSLATE_NOOP("Platform", "The X server refused to hand over the screen's picture."));
  }
  framePointer_ = pointer_;
  framePointerShown_ = pointerShown_;
  frameHadRing_ = now - clickTime_ < clickRingSeconds;
  frameOwn_ = own;
  return Result::of(std::move(frame));
}

void X11Grabber::readEvents(const QRect& source, double now) {
  xcb_connection_t* connection = session_.connection.get();
  while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
    const uint8_t type = event->response_type & 0x7f;
    if (hasDamage_ && type == damageEvent_ + XCB_DAMAGE_NOTIFY) {
      const auto* damage = reinterpret_cast<const xcb_damage_notify_event_t*>(event.get());
      const QRect drawn(damage->area.x, damage->area.y, damage->area.width, damage->area.height);
      // Vorn's own windows painted onto the root change nothing the take shows.
      if (damage->damage == rootDamage_) {
        stack_->repainted(drawn);
        if (!(QRegion(drawn & source) - frameOwn_).isEmpty()) dirty_ = true;
        continue;
      }
      const X11WindowStack::Window* window = stack_->damaged(damage->damage);
      if (!window) continue;
      if (drawn.translated(window->rect.topLeft()).intersects(source)) dirty_ = true;
    } else if (hasCursor_ && type == fixesEvent_ + XCB_XFIXES_CURSOR_NOTIFY) {
      cursorStale_ = true;
      cursorRedraw_ = true;
    } else if (stack_->handle(event.get(), now).intersects(source)) {
      dirty_ = true;
    }
  }
}

// Clicks are seen by polling the button state once a tick: it needs no input extension and
// works on any server, Xvfb included. A click shorter than one tick can be missed.
void X11Grabber::readPointer(double now) {
  xcb_connection_t* connection = session_.connection.get();
  XcbReply<xcb_query_pointer_reply_t> reply(xcb_query_pointer_reply(
      connection, xcb_query_pointer(connection, session_.screen->root), nullptr));
  if (!reply) return;
  pointer_ = QPoint(reply->root_x, reply->root_y);
  // The server names the top-level window that takes the pointer there, input shapes
  // counted: the frame's click-through inside is not Vorn's, its edge band is. A pointer
  // working Vorn's own windows is not part of what is shown: no cursor, no click ring.
  const bool overOwn = stack_->isOwn(reply->child);
  pointerShown_ = !overOwn;
  const uint16_t pressed = reply->mask & clickButtons;
  if ((pressed & ~buttons_) != 0 && !overOwn) {
    clickAt_ = pointer_;
    clickTime_ = now;
  }
  buttons_ = pressed;
  if (onPointer_)
    onPointer_({ScreenScale::toPoints(Point{double(reply->root_x), double(reply->root_y)}),
                (reply->mask & XCB_BUTTON_MASK_1) != 0, overOwn});
}

bool X11Grabber::nearArea(const QRect& source, QPoint point) const {
  return source.adjusted(-cursorReach, -cursorReach, cursorReach, cursorReach).contains(point);
}

bool X11Grabber::needsFrame(const QRect& source, bool changed, double now,
                            const QRegion& own) const {
  if (changed || dirty_ || !hasDamage_ || own != frameOwn_) return true;
  const bool pointerShown = (pointerShown_ && nearArea(source, pointer_)) ||
                            (framePointerShown_ && nearArea(source, framePointer_));
  const bool pointerMoved = pointer_ != framePointer_ || pointerShown_ != framePointerShown_;
  if (pointerShown && (pointerMoved || cursorRedraw_)) return true;
  const bool ring = now - clickTime_ < clickRingSeconds && nearArea(source, clickAt_);
  return ring || (frameHadRing_ && nearArea(source, clickAt_));
}

void X11Grabber::fetchCursorImage() {
  xcb_connection_t* connection = session_.connection.get();
  XcbReply<xcb_xfixes_get_cursor_image_reply_t> reply(xcb_xfixes_get_cursor_image_reply(
      connection, xcb_xfixes_get_cursor_image(connection), nullptr));
  cursorStale_ = false;
  if (!reply || reply->width == 0 || reply->height == 0) {
    cursor_ = {};
    return;
  }
  // XFixes hands out premultiplied ARGB words: Qt's premultiplied format on the host.
  const QImage view(reinterpret_cast<const uchar*>(xcb_xfixes_get_cursor_image_cursor_image(reply.get())),
                    reply->width, reply->height, reply->width * 4,
                    QImage::Format_ARGB32_Premultiplied);
  cursor_ = {view.copy(), reply->xhot, reply->yhot};
}

// Into `area_`, rows of source.width() pixels.
bool X11Grabber::capture(const QRect& source, const QRegion& own) {
  if (own.isEmpty())
    return read(session_.screen->root, QPoint(0, 0), source, source, false);
  compose(source, own);
  return true;
}

// The area as it would look without Vorn's windows: the other windows from the top down until
// opaque ones cover it, the screen itself where none does, and the desktop's wallpaper (or
// black, where none was set) where only Vorn's windows were over the desktop's background. Where Vorn's windows cover little of the area,
// the screen is read whole and only their parts are built.
void X11Grabber::compose(const QRect& source, const QRegion& own) {
  struct Layer {
    const X11WindowStack::Window* window;
    QRegion part;
  };
  const auto pixels = [](const QRegion& region) {
    long long sum = 0;
    for (const QRect& r : region) sum += (long long)r.width() * r.height();
    return sum;
  };
  const bool patch = pixels(own) * 2 < (long long)source.width() * source.height();
  if (patch) read(session_.screen->root, QPoint(0, 0), source, source, false);
  std::vector<Layer> layers;
  QRegion uncovered = patch ? own : QRegion(source), seeThrough;
  const auto& windows = stack_->windows();
  for (auto it = windows.rbegin(); it != windows.rend() && !uncovered.isEmpty(); ++it) {
    if (!it->mapped || it->own || !it->readable) continue;
    const QRegion part = uncovered & it->rect;
    if (part.isEmpty()) continue;
    layers.push_back({&*it, part});
    if (it->opaque)
      uncovered -= it->rect;
    else
      seeThrough += part;
  }
  const QRegion screen = uncovered - own - seeThrough;
  const int stride = source.width() * 4;
  const xcb_pixmap_t desktop = wallpaper();
  for (const QRect& part : uncovered - screen)
    if (!desktop || !read(desktop, QPoint(0, 0), part, source, false))
      clearBlock(area_->data, stride, part.x() - source.x(), part.y() - source.y(), part.width(),
                 part.height());
  for (const QRect& part : screen) read(session_.screen->root, QPoint(0, 0), part, source, false);
  for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer)
    for (const QRect& part : layer->part)
      if (!read(layer->window->id, layer->window->rect.topLeft(), part, source,
                !layer->window->opaque))
        clearBlock(area_->data, stride, part.x() - source.x(), part.y() - source.y(),
                   part.width(), part.height());
}

// The picture a wallpaper setter left for the root window (the root's own pixels under Vorn's
// windows are Vorn's). Looked up again each second: the user may change the wallpaper.
xcb_pixmap_t X11Grabber::wallpaper() {
  const double now = mediaTime();
  if (now - wallpaperCheckedAt_ < 1.0 || !wallpaperAtom_) return wallpaper_;
  wallpaperCheckedAt_ = now;
  wallpaper_ = XCB_NONE;
  xcb_connection_t* connection = session_.connection.get();
  XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      connection, xcb_get_property(connection, 0, session_.screen->root, wallpaperAtom_, XCB_ATOM_PIXMAP, 0, 1),
      nullptr));
  if (reply && reply->format == 32 && xcb_get_property_value_length(reply.get()) == 4)
    wallpaper_ = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(reply.get()));
  return wallpaper_;
}

// Reads `part` (root pixels) of the drawable whose top-left lies at `origin` into its place in
// the area's picture; see-through pictures are blended over what is there.
bool X11Grabber::read(xcb_drawable_t drawable, QPoint origin, const QRect& part,
                      const QRect& source, bool blend) {
  xcb_connection_t* connection = session_.connection.get();
  const int stride = source.width() * 4;
  // A part as wide as the area lands in place; any other goes through the scratch segment.
  const bool inPlace = !blend && part.left() == source.left() && part.width() == source.width();
  ShmSegment& target = inPlace ? *area_ : *scratch_;
  const uint32_t offset = inPlace ? uint32_t((part.top() - source.top()) * stride) : 0;
  xcb_generic_error_t* rawError = nullptr;
  XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
      connection,
      xcb_shm_get_image(connection, drawable, int16_t(part.x() - origin.x()),
                        int16_t(part.y() - origin.y()), uint16_t(part.width()),
                        uint16_t(part.height()), ~0u, XCB_IMAGE_FORMAT_Z_PIXMAP, target.seg,
                        offset),
      &rawError));
  XcbReply<xcb_generic_error_t> error(rawError);
  if (!reply) return false;
  if (inPlace) return true;
  const int toX = part.x() - source.x(), toY = part.y() - source.y();
  if (blend)
    blendBlock(scratch_->data, part.width() * 4, area_->data, stride, toX, toY, part.width(),
               part.height());
  else
    copyBlock(scratch_->data, part.width() * 4, 0, 0, area_->data, stride, toX, toY,
              part.width(), part.height());
  return true;
}

FrameRef X11Grabber::makeFrame(const ScreenConfig& config, const QRect& source, double now) {
  if (!pool_ || pool_->width() != config.width || pool_->height() != config.height)
    pool_ = std::make_unique<FramePool>(config.width, config.height, 2, 8);
  FrameRef frame = pool_->take();
  if (!frame) return nullptr;  // the consumers hold every buffer: skip this tick
  convertToFrame(area_->data, source.width() * 4, source.width(), source.height(), *frame);

  const double scaleX = double(config.width) / source.width();
  const double scaleY = double(config.height) / source.height();
  const auto toFrame = [&](QPoint p) {
    return QPointF((p.x() - source.x()) * scaleX, (p.y() - source.y()) * scaleY);
  };
  if (now - clickTime_ < clickRingSeconds && nearArea(source, clickAt_))
    drawClickRing(*frame, toFrame(clickAt_), now - clickTime_, scaleX);
  if (pointerShown_ && nearArea(source, pointer_)) {
    if (cursorStale_ && hasCursor_) fetchCursorImage();
    drawCursor(*frame, cursor_, toFrame(pointer_), scaleX);
  }
  return frame;
}

}  // namespace vorn
