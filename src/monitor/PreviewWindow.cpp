#include "monitor/PreviewWindow.h"

#include "model/Studio.h"
#include "monitor/ToastPainter.h"

#include <QKeyEvent>
#include <QPainter>

namespace vorn {
namespace {

constexpr int kWidth = 288;  // the phone screen's width in points
constexpr int kHeight = 512;

}  // namespace

PreviewWindow::PreviewWindow(Studio& studio,
                             std::function<bool(int, Qt::KeyboardModifiers)> onKey)
    : studio_(studio), onKey_(std::move(onKey)) {
  setWindowTitle(QStringLiteral("Vorn"));
  setAttribute(Qt::WA_OpaquePaintEvent);
  setFocusPolicy(Qt::StrongFocus);
  resize(kWidth, kHeight);
  connect(&studio_, &Studio::toastChanged, this, qOverload<>(&QWidget::update));
}

void PreviewWindow::show(const DisplayInfo& screen, const Rect& avoid) {
  // Beside the frame, on the side with more room.
  const Rect& s = screen.rect;
  const double leftRoom = avoid.x - s.x, rightRoom = s.maxX() - avoid.maxX();
  const int x = int(rightRoom >= leftRoom ? std::min(avoid.maxX() + 24, s.maxX() - kWidth)
                                          : std::max(avoid.x - 24 - kWidth, s.x));
  const int y = int(s.y + std::max(0.0, (s.height - kHeight) / 2));
  move(x, y);
  QWidget::show();
}

void PreviewWindow::hide() {
  QWidget::hide();
  frame_.reset();
}

void PreviewWindow::showFrame(const ConstFrameRef& frame) {
  frame_ = frame;
  update();
}

void PreviewWindow::bringToFront() {
  QWidget::show();
  raise();
  activateWindow();
}

int PreviewWindow::previewWidth() const {
  const QSizeF fitted = QSizeF(kWidth, kHeight).scaled(size(), Qt::KeepAspectRatio);
  return int(fitted.width() * devicePixelRatioF());
}

void PreviewWindow::paintEvent(QPaintEvent*) {
  ++paints_;
  QPainter painter(this);
  painter.fillRect(rect(), QColor(30, 30, 32));
  if (frame_) {
    // A view onto the frame's own pixels: nothing is copied.
    QImage picture = frame_->image();
    picture.setDevicePixelRatio(devicePixelRatioF());
    const QSizeF fitted = picture.deviceIndependentSize().scaled(size(), Qt::KeepAspectRatio);
    const QRectF target(QPointF((width() - fitted.width()) / 2, (height() - fitted.height()) / 2), fitted);
    // Composed at this very size, the frame is copied to the window pixel for pixel; only
    // a frame of another size (the window was just resized) needs smoothing.
    if (target.width() * devicePixelRatioF() != picture.width())
      painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, picture);
  }
  if (const auto toast = studio_.toast()) paintToast(painter, rect(), *toast);
}

void PreviewWindow::keyPressEvent(QKeyEvent* event) {
  if (onKey_ && onKey_(event->key(), event->modifiers())) return event->accept();
  QWidget::keyPressEvent(event);
}

}  // namespace vorn
