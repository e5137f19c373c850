// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/portal/PortalScreenBackend.h"

#include "base/PixelRect.h"
#include "capture/GrabLoop.h"
#include "capture/OwnWindowMarks.h"
#include "capture/ScreenPixels.h"
#include "platform/portal/PipeWireStream.h"

#include <QPainter>

#include <cstring>
#include <utility>

namespace vorn {
namespace {

DisplayInfo displayOf(const SharedSource& source) {
  // One display whatever the node: the id stays the same from one session to the next.
  return {1, source.window ? "Shared window" : "Shared screen",
          Rect{0, 0, double(source.width), double(source.height)}, 1.0};
}

void swapRedAndBlue(FrameBuffer& frame) {
  for (int y = 0; y < frame.height(); ++y) {
    uint8_t* row = frame.row(y);
    for (int x = 0; x < frame.width() * 4; x += 4) std::swap(row[x], row[x + 2]);
  }
}

// What stands in a take for one of Vorn's windows the shared monitor shows.
constexpr uint8_t kBlankBgra[4] = {68, 64, 64, 255};  // a grey none of Vorn's windows wear

// Blanks in `frame` (the capture area, scaled) the windows of Vorn's found in the picture.
void blankOwnWindows(FrameBuffer& frame, const ScreenConfig& config, const std::vector<Rect>& windows) {
  const double sx = config.width / config.sourceRect.width, sy = config.height / config.sourceRect.height;
  for (const Rect& window : windows) {
    const Rect inside = window.intersected(config.sourceRect);
    if (inside.isEmpty()) continue;
    const PixelRect blank =
        PixelRect::covering({(inside.x - config.sourceRect.x) * sx, (inside.y - config.sourceRect.y) * sy,
                             inside.width * sx, inside.height * sy})
            .intersected({0, 0, frame.width(), frame.height()});
    for (int y = blank.y; y < blank.bottom(); ++y)
      for (int x = blank.x; x < blank.right(); ++x) std::memcpy(frame.row(y) + x * 4, kBlankBgra, 4);
  }
}

// Crops and scales the capture area out of the stream's latest picture, with the pointer drawn
// in where the stream sends it apart. On a shared monitor, Vorn's own windows are blanked.
class PortalGrabber : public Grabber {
 public:
  PortalGrabber(std::shared_ptr<PipeWireStream> stream, bool blankOwn,
                std::function<void(const PointerState&)> onPointer)
      : stream_(std::move(stream)), blankOwn_(blankOwn), onPointer_(std::move(onPointer)) {}

  void wakeOnChange(std::function<void()> wake) override { stream_->onPicture(std::move(wake)); }

  Result grab(const ScreenConfig& config, bool changed) override {
    const std::optional<StreamCursor> cursor = stream_->cursor();
    const bool cursorMoved = cursor && (cursor->position != drawnAt_ || cursor->bitmap.cacheKey() != drawnKey_);
    if (cursorMoved && onPointer_)
      onPointer_(PointerState{Point{double(cursor->position.x()), double(cursor->position.y())}});
    Result result = Result::skip();
    stream_->withPicture([&](const StreamPicture* picture, uint64_t serial) {
      if (!picture) return;  // nothing shown yet
      if (!changed && serial == serial_ && !cursorMoved) {
        result = {};
        return;
      }
      result = crop(*picture, config);
      if (!result.frame) return;
      serial_ = serial;
      if (blankOwn_)
        blankOwnWindows(*result.frame, config,
                        findOwnWindows(picture->data, picture->width, picture->height, picture->stride,
                                       picture->redFirst));
    });
    if (cursor) {
      drawnAt_ = cursor->position;
      drawnKey_ = cursor->bitmap.cacheKey();
      if (result.frame) drawCursor(*result.frame, config, *cursor);
    }
    return result;
  }

 private:
  Result crop(const StreamPicture& picture, const ScreenConfig& config) {
    const int left = int(config.sourceRect.x), top = int(config.sourceRect.y);
    const int width = int(config.sourceRect.width), height = int(config.sourceRect.height);
    if (left < 0 || top < 0 || width <= 0 || height <= 0 || left + width > picture.width ||
        top + height > picture.height || config.width <= 0 || config.height <= 0)
      return Result::unsupported(QT_TRANSLATE_NOOP("Platform", "The capture area lies outside the shared screen."));
    if (!pool_ || pool_->width() != config.width || pool_->height() != config.height)
      pool_ = std::make_unique<FramePool>(config.width, config.height, 2, 8);
    FrameRef frame = pool_->take();
    if (!frame) return Result::skip();
    convertToFrame(picture.data + ptrdiff_t(top) * picture.stride + left * 4, picture.stride, width, height, *frame);
    if (picture.redFirst) swapRedAndBlue(*frame);
    return Result::of(std::move(frame));
  }

  static void drawCursor(FrameBuffer& frame, const ScreenConfig& config, const StreamCursor& cursor) {
    if (cursor.bitmap.isNull() || config.sourceRect.width <= 0 || config.sourceRect.height <= 0) return;
    const double sx = config.width / config.sourceRect.width, sy = config.height / config.sourceRect.height;
    const QRectF where((cursor.position.x() - cursor.hotspot.x() - config.sourceRect.x) * sx,
                       (cursor.position.y() - cursor.hotspot.y() - config.sourceRect.y) * sy,
                       cursor.bitmap.width() * sx, cursor.bitmap.height() * sy);
    QImage image = frame.image();
    if (!where.intersects(QRectF(image.rect()))) return;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(where, cursor.bitmap);
  }

  std::shared_ptr<PipeWireStream> stream_;
  bool blankOwn_;
  std::function<void(const PointerState&)> onPointer_;
  std::unique_ptr<FramePool> pool_;
  uint64_t serial_ = 0;
  QPoint drawnAt_{-1, -1};
  qint64 drawnKey_ = 0;
};

}  // namespace

PortalScreenBackend::PortalScreenBackend(RestoreTokenStore tokens) : tokens_(std::move(tokens)) {}

PortalScreenBackend::~PortalScreenBackend() { stop(); }

PortalSession& PortalScreenBackend::session() {
  if (session_) return *session_;
  session_ = PortalSession::open(tokens_.load ? tokens_.load() : std::string());
  if (tokens_.save && !session_->restoreToken().empty()) tokens_.save(session_->restoreToken());
  shared_ = session_->source();
  return *session_;
}

std::vector<DisplayInfo> PortalScreenBackend::displays() {
  std::lock_guard lock(mutex_);
  // Asked again after a refusal: only opening the studio or a take looks while none is shared.
  if (!shared_) {
    try {
      session();
    } catch (const SharingRefused&) {
      problem_ = QT_TRANSLATE_NOOP("Platform", "Screen sharing was declined: open Vorn again and choose a screen or window to share.");
    } catch (const std::exception& error) {
      problem_ = error.what();
    }
  }
  if (!shared_) return {};
  return {displayOf(*shared_)};
}

std::optional<std::string> PortalScreenBackend::unavailable() const {
  std::lock_guard lock(mutex_);
  return problem_.empty() ? QT_TRANSLATE_NOOP("Platform", "No screen is shared with Vorn.") : problem_;
}

void PortalScreenBackend::start(const DisplayInfo&, const ScreenConfig& config, OwnClient, ScreenSinks sinks) {
  stopStream();
  std::shared_ptr<PipeWireStream> stream;
  bool monitor = false;
  {
    std::lock_guard lock(mutex_);
    PortalSession& shared = session();
    stream = std::make_shared<PipeWireStream>(shared.openPipeWireRemote(), shared.source().node, sinks.onStopped);
    stream_ = stream;
    monitor = !shared.source().window;
  }
  auto onPointer = sinks.onPointer;
  running_.start(std::make_unique<PortalGrabber>(std::move(stream), monitor, std::move(onPointer)), config,
                 std::move(sinks));
}

bool PortalScreenBackend::leavesOutOwnWindows() const {
  std::lock_guard lock(mutex_);
  // A window alone: nothing of Vorn's can be in it. A monitor: Vorn's marked windows are
  // blanked, but a menu or a dialog of its own would show.
  return shared_ && shared_->window;
}

void PortalScreenBackend::stopStream() {
  running_.stop();
  std::lock_guard lock(mutex_);
  stream_.reset();
}

void PortalScreenBackend::stop() {
  stopStream();
  std::lock_guard lock(mutex_);
  // The desktop shows that a screen is shared while the session lives.
  session_.reset();
}

void PortalScreenBackend::update(const ScreenConfig& config, Completion done) {
  running_.update(config, std::move(done));
}

QImage PortalScreenBackend::screenshot(const DisplayInfo&) {
  std::shared_ptr<PipeWireStream> stream;
  {
    std::lock_guard lock(mutex_);
    stream = stream_;
  }
  QImage copy;
  if (stream)
    stream->withPicture([&](const StreamPicture* picture, uint64_t) {
      if (!picture) return;
      copy = QImage(picture->data, picture->width, picture->height, picture->stride,
                    picture->redFirst ? QImage::Format_RGBX8888 : QImage::Format_RGB32)
                 .convertToFormat(QImage::Format_RGB32);
    });
  return copy;
}

}  // namespace vorn
