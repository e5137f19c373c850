#include "capture/X11Grabber.h"

#include "base/Clock.h"

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
    if (id < 0) throw std::runtime_error("Shared memory for the screen capture is not available.");
    void* address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
      shmctl(id, IPC_RMID, nullptr);
      throw std::runtime_error("Shared memory for the screen capture is not available.");
    }
    data = static_cast<uint8_t*>(address);
    seg = xcb_generate_id(connection);
    XcbReply<xcb_generic_error_t> error(
        xcb_request_check(connection, xcb_shm_attach_checked(connection, seg, id, 0)));
    // Marked for removal at once: it goes away with its last user, even after a crash.
    shmctl(id, IPC_RMID, nullptr);
    if (error) {
      shmdt(data);
      throw std::runtime_error("The X server cannot share memory with Vorn.");
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

QRect pixelsOf(const Rect& points, double scale) {
  const int left = int(std::lround(points.x * scale));
  const int top = int(std::lround(points.y * scale));
  return QRect(left, top, int(std::lround(points.maxX() * scale)) - left,
               int(std::lround(points.maxY() * scale)) - top);
}

// Pointer pictures are at most this far from the hot spot on any side we care about.
constexpr int cursorReach = 64;
constexpr uint16_t clickButtons =
    XCB_KEY_BUT_MASK_BUTTON_1 | XCB_KEY_BUT_MASK_BUTTON_2 | XCB_KEY_BUT_MASK_BUTTON_3;

}  // namespace

X11Grabber::X11Grabber(const DisplayInfo& display, std::shared_ptr<OwnWindows> ownWindows)
    : session_(X11Session::open()),
      display_(pixelsOf(display.rect, display.scale)),
      scale_(display.scale),
      ownWindows_(std::move(ownWindows)) {
  if (!session_) throw std::runtime_error("Cannot connect to the X server.");
  xcb_connection_t* connection = session_.connection.get();
  if (!hasExtension(connection, &xcb_shm_id, nullptr))
    throw std::runtime_error("The X server does not offer shared memory (MIT-SHM).");
  const size_t bytes = size_t(display_.width()) * size_t(display_.height()) * 4;
  for (auto& segment : segments_) segment = std::make_unique<ShmSegment>(connection, bytes);
  setUpDamage();
  setUpCursor();
  xcb_flush(connection);
}

X11Grabber::~X11Grabber() = default;

void X11Grabber::setUpDamage() {
  xcb_connection_t* connection = session_.connection.get();
  if (!hasExtension(connection, &xcb_damage_id, &damageEvent_)) return;
  XcbReply<xcb_damage_query_version_reply_t> version(xcb_damage_query_version_reply(
      connection, xcb_damage_query_version(connection, 1, 1), nullptr));
  if (!version) return;
  // Raw rectangles need no acknowledging; damage on the root covers every window on it.
  xcb_damage_create(connection, xcb_generate_id(connection), session_.screen->root,
                    XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
  hasDamage_ = true;
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

Grabber::Result X11Grabber::grab(const ScreenConfig& config, bool changed) {
  xcb_connection_t* connection = session_.connection.get();
  if (xcb_connection_has_error(connection))
    return {nullptr, "The connection to the X server was lost.", true};
  const QRect source = sourcePixels(config);
  if (source.isEmpty() || !display_.contains(source) || config.width <= 0 || config.height <= 0)
    return {nullptr, "The capture area lies outside the display.", false};

  const double now = mediaTime();
  const OwnWindows::Rects own = ownWindows_->rects();
  readEvents(source, *own);
  readPointer(now);
  if (!needsFrame(source, changed, now, own)) return {};
  FrameRef frame = makeFrame(config, source, own, now);
  if (!frame) return {};
  dirty_ = false;
  cursorRedraw_ = false;
  framePointer_ = pointer_;
  frameHadRing_ = now - clickTime_ < clickRingSeconds;
  frameOwn_ = own;
  return {std::move(frame), {}, false};
}

void X11Grabber::readEvents(const QRect& source, const std::vector<Rect>& own) {
  xcb_connection_t* connection = session_.connection.get();
  while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
    const uint8_t type = event->response_type & 0x7f;
    if (hasDamage_ && type == damageEvent_ + XCB_DAMAGE_NOTIFY) {
      const auto* damage = reinterpret_cast<const xcb_damage_notify_event_t*>(event.get());
      const QRect area(damage->area.x, damage->area.y, damage->area.width, damage->area.height);
      // Vorn's own windows repainting (the preview, 60 times a second) are left out of the
      // frame anyway: their damage alone never calls for a new one.
      const bool ours = std::any_of(own.begin(), own.end(), [&](const Rect& window) {
        return pixelsOf(window, scale_).contains(area);
      });
      if (area.intersects(source) && !ours) dirty_ = true;
    } else if (hasCursor_ && type == fixesEvent_ + XCB_XFIXES_CURSOR_NOTIFY) {
      cursorStale_ = true;
      cursorRedraw_ = true;
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
  const uint16_t pressed = reply->mask & clickButtons;
  if ((pressed & ~buttons_) != 0) {
    clickAt_ = pointer_;
    clickTime_ = now;
  }
  buttons_ = pressed;
}

bool X11Grabber::nearArea(const QRect& source, QPoint point) const {
  return source.adjusted(-cursorReach, -cursorReach, cursorReach, cursorReach).contains(point);
}

bool X11Grabber::needsFrame(const QRect& source, bool changed, double now,
                            const OwnWindows::Rects& own) const {
  if (changed || dirty_ || !hasDamage_ || own != frameOwn_) return true;
  const bool pointerShown = nearArea(source, pointer_) || nearArea(source, framePointer_);
  if (pointerShown && (pointer_ != framePointer_ || cursorRedraw_)) return true;
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

// Vorn's own windows are filled with the pixels the previous grab had there (themselves
// filled the same way), or black where the previous grab did not reach.
void X11Grabber::leaveOutOwnWindows(const QRect& source, const OwnWindows::Rects& own) {
  const int stride = source.width() * 4;
  const int previous = 1 - current_;
  uint8_t* pixels = segments_[current_]->data;
  for (const Rect& window : *own) {
    const QRect hidden = pixelsOf(window, scale_).intersected(source);
    if (hidden.isEmpty()) continue;
    clearBlock(pixels, stride, hidden.x() - source.x(), hidden.y() - source.y(), hidden.width(),
               hidden.height());
    const QRect known = hidden.intersected(grabbed_[previous]);
    if (known.isEmpty()) continue;
    const QRect from = grabbed_[previous];
    copyBlock(segments_[previous]->data, from.width() * 4, known.x() - from.x(),
              known.y() - from.y(), pixels, stride, known.x() - source.x(),
              known.y() - source.y(), known.width(), known.height());
  }
}

FrameRef X11Grabber::makeFrame(const ScreenConfig& config, const QRect& source,
                               const OwnWindows::Rects& own, double now) {
  xcb_connection_t* connection = session_.connection.get();
  ShmSegment& segment = *segments_[current_];
  XcbReply<xcb_generic_error_t> error;
  xcb_generic_error_t* rawError = nullptr;
  XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
      connection,
      xcb_shm_get_image(connection, session_.screen->root, int16_t(source.x()),
                        int16_t(source.y()), uint16_t(source.width()), uint16_t(source.height()),
                        ~0u, XCB_IMAGE_FORMAT_Z_PIXMAP, segment.seg, 0),
      &rawError));
  error.reset(rawError);
  if (!reply) {
    grabbed_[current_] = QRect();
    return nullptr;
  }
  if (!own->empty()) leaveOutOwnWindows(source, own);
  grabbed_[current_] = source;

  if (!pool_ || pool_->width() != config.width || pool_->height() != config.height)
    pool_ = std::make_unique<FramePool>(config.width, config.height, 2, 8);
  FrameRef frame = pool_->take();
  if (!frame) return nullptr;  // the consumers hold every buffer: skip this tick
  current_ = 1 - current_;
  convertToFrame(segment.data, source.width() * 4, source.width(), source.height(), *frame);

  const double scaleX = double(config.width) / source.width();
  const double scaleY = double(config.height) / source.height();
  const auto toFrame = [&](QPoint p) {
    return QPointF((p.x() - source.x()) * scaleX, (p.y() - source.y()) * scaleY);
  };
  if (now - clickTime_ < clickRingSeconds && nearArea(source, clickAt_))
    drawClickRing(*frame, toFrame(clickAt_), now - clickTime_, scaleX);
  if (nearArea(source, pointer_)) {
    if (cursorStale_ && hasCursor_) fetchCursorImage();
    drawCursor(*frame, cursor_, toFrame(pointer_), scaleX);
  }
  return frame;
}

}  // namespace vorn
