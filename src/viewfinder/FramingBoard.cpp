// SPDX-License-Identifier: GPL-3.0-or-later
#include "viewfinder/FramingBoard.h"

#include "engine/Engine.h"
#include "desktop/ArrowStep.h"
#include "model/Studio.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

constexpr int kMargin = 16;
constexpr int kNoteHeight = 58;  // three lines
// How near a corner, in board pixels, a press resizes instead of moving.
constexpr double kCornerReach = 14;
constexpr double kStillEvery = 1.0;

const char* const kNote = QT_TRANSLATE_NOOP(
    "FramingBoard",
    "Drag the frame over what to record; drag a corner to resize it.\n"
    "Click zoom is off: on Wayland, Vorn can't see clicks in other windows.");
// Where the whole screen is shared, the capture blanks Vorn's windows rather than leave them in.
const char* const kOwnWindowsNote =
    QT_TRANSLATE_NOOP("FramingBoard", "Vorn's own windows stay grey in the take: keep them clear of the frame.");

}  // namespace

FramingBoard::FramingBoard(Studio& studio, QWidget* parent) : QWidget(parent), studio_(studio) {
  setMinimumSize(480, 320);
  resize(960, 540 + kNoteHeight);
  setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
  setAccessibleName(tr("Capture frame"));
  setAccessibleDescription(tr("A picture of the shared screen with the part that is recorded. Drag the frame to "
                              "move it, a corner to resize it; the arrow keys move it, Shift for bigger steps."));
}

void FramingBoard::attach(Engine& engine) { engine_ = &engine; }

void FramingBoard::open(const DisplayInfo& screen) {
  screen_ = screen;
  stillAt_ = -1;
  show();
  window()->show();
}

void FramingBoard::dismiss() {
  drag_.reset();
  hide();
  window()->hide();
}

bool FramingBoard::shouldShow() const {
  return screen_ && studio_.phase() != Phase::idle && studio_.phase() != Phase::recording &&
         studio_.phase() != Phase::countdown;
}

void FramingBoard::tick(double now) {
  if (!engine_) return;
  if (shouldShow() != isVisible()) {
    setVisible(shouldShow());
    if (!isVisible()) drag_.reset();
  }
  if (!isVisible()) return;
  refreshStill(now);
  if (engine_->live() != drawn_) update();
}

void FramingBoard::refreshStill(double now) {
  if (stillPending_ || (stillAt_ >= 0 && now - stillAt_ < kStillEvery)) return;
  stillAt_ = now;
  stillPending_ = true;
  const double scale = screen_->rect.width > 0 ? std::min(1.0, width() / screen_->rect.width) : 1.0;
  engine_->takeStill(this, scale, [this](QImage shot) {
    stillPending_ = false;
    if (shot.isNull()) return;
    still_ = std::move(shot);
    update();
  });
}

QRectF FramingBoard::pictureRect() const {
  const QRectF room(kMargin, kMargin, width() - 2 * kMargin, height() - 2 * kMargin - kNoteHeight);
  if (!screen_ || screen_->rect.width <= 0 || screen_->rect.height <= 0 || room.width() <= 0) return room;
  const double scale = std::min(room.width() / screen_->rect.width, room.height() / screen_->rect.height);
  const QSizeF size(screen_->rect.width * scale, screen_->rect.height * scale);
  return {room.x() + (room.width() - size.width()) / 2, room.y() + (room.height() - size.height()) / 2,
          size.width(), size.height()};
}

Point FramingBoard::toScreen(QPointF at) const {
  const QRectF picture = pictureRect();
  if (!screen_ || picture.width() <= 0) return {};
  const double scale = screen_->rect.width / picture.width();
  return {screen_->rect.x + (at.x() - picture.x()) * scale, screen_->rect.y + (at.y() - picture.y()) * scale};
}

QRectF FramingBoard::toBoard(const Rect& r) const {
  const QRectF picture = pictureRect();
  if (!screen_ || screen_->rect.width <= 0) return {};
  const double scale = picture.width() / screen_->rect.width;
  return {picture.x() + (r.x - screen_->rect.x) * scale, picture.y() + (r.y - screen_->rect.y) * scale,
          r.width * scale, r.height * scale};
}

void FramingBoard::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  p.fillRect(rect(), QColor(24, 24, 26));
  const QRectF picture = pictureRect();
  if (!still_.isNull())
    p.drawImage(picture, still_);
  else
    p.fillRect(picture, QColor(44, 44, 48));
  if (engine_) {
    drawn_ = engine_->live();
    const QRectF frame = toBoard(drawn_);
    QPainterPath outside;
    outside.addRect(picture);
    outside.addRect(frame);
    p.fillPath(outside, QColor(0, 0, 0, 110));
    p.setPen(QPen(Qt::white, 2));
    p.drawRect(frame);
    p.setBrush(Qt::white);
    for (const QPointF corner : {frame.topLeft(), frame.topRight(), frame.bottomLeft(), frame.bottomRight()})
      p.drawEllipse(corner, 5, 5);
    if (hasFocus()) {  // the arrow keys move it
      p.setBrush(Qt::NoBrush);
      p.setPen(QPen(palette().color(QPalette::Highlight), 2, Qt::DashLine));
      p.drawRect(frame.adjusted(-5, -5, 5, 5));
    }
  }
  QString note = tr(kNote);
  if (engine_ && !engine_->ownWindowsLeftOut()) note += QLatin1Char('\n') + tr(kOwnWindowsNote);
  p.setPen(QColor(200, 200, 205));
  p.drawText(QRectF(kMargin, height() - kNoteHeight - kMargin / 2, width() - 2 * kMargin, kNoteHeight),
             Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap, note);
}

void FramingBoard::mousePressEvent(QMouseEvent* event) {
  if (!engine_ || event->button() != Qt::LeftButton) return;
  const QRectF frame = toBoard(engine_->live());
  const QPointF at = event->position();
  const Rect home = engine_->home();
  for (const QPointF corner : {frame.topLeft(), frame.topRight(), frame.bottomLeft(), frame.bottomRight()}) {
    if (std::hypot(at.x() - corner.x(), at.y() - corner.y()) > kCornerReach) continue;
    // The opposite corner stays.
    const QPointF stays(corner.x() == frame.left() ? frame.right() : frame.left(),
                        corner.y() == frame.top() ? frame.bottom() : frame.top());
    drag_ = Drag{true, home, {}, toScreen(stays)};
    engine_->beginDrag();
    return;
  }
  if (!frame.contains(at)) return;
  drag_ = Drag{false, home, toScreen(at), {}};
  engine_->beginDrag();
}

void FramingBoard::mouseMoveEvent(QMouseEvent* event) {
  if (!drag_ || !engine_) return;
  const Point at = toScreen(event->position());
  if (drag_->resize) {
    engine_->resize(drag_->anchor, at);
  } else {
    engine_->drag({drag_->home.x + at.x - drag_->grabbed.x, drag_->home.y + at.y - drag_->grabbed.y,
                   drag_->home.width, drag_->home.height});
  }
  update();
}

void FramingBoard::keyPressEvent(QKeyEvent* event) {
  const std::optional<Point> step = arrowStep(event->key(), event->modifiers());
  if (!engine_ || !step || drag_ || !engine_->frameMovable()) return QWidget::keyPressEvent(event);
  // A step of the board is a step of the screen, whatever the picture's scale.
  engine_->moveByKey(step->x, step->y);
  update();
}

void FramingBoard::focusInEvent(QFocusEvent* event) {
  update();
  QWidget::focusInEvent(event);
}

void FramingBoard::focusOutEvent(QFocusEvent* event) {
  update();
  QWidget::focusOutEvent(event);
}

void FramingBoard::mouseReleaseEvent(QMouseEvent* event) {
  if (!drag_ || !engine_ || event->button() != Qt::LeftButton) return;
  drag_.reset();
  engine_->endDrag();
  update();
}

}  // namespace vorn
