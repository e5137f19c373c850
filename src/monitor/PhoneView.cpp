// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/PhoneView.h"

#include "base/Clock.h"
#include "desktop/ArrowStep.h"
#include "model/Studio.h"
#include "monitor/DragStart.h"
#include "monitor/GhostUI.h"
#include "monitor/PhoneCard.h"
#include "monitor/StatusText.h"
#include "monitor/ToastPainter.h"

#include <QConicalGradient>
#include <QContextMenuEvent>
#include <QDrag>
#include <QKeyEvent>
#include <QMimeData>
#include <QUrl>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

constexpr double kBodyRadius = 47, kScreenRadius = 41;

QFont sizedFont(double pixels, QFont::Weight weight) {
  QFont f;
  f.setPixelSize(std::max(1, int(pixels)));
  f.setWeight(weight);
  return f;
}

}  // namespace

PhoneView::PhoneView(Studio& studio, QWidget* parent)
    : QWidget(parent), studio_(studio), player_([this](const ConstFrameRef& frame) {
        reviewFrame_ = frame;
        update(shown(screenRect()));
      }) {
  setFixedSize(bodySize);
  setAttribute(Qt::WA_TranslucentBackground);
  setMouseTracking(true);
  // Tab reaches the handles; a click on one gives it the keyboard too.
  setFocusPolicy(Qt::TabFocus);
  setAccessibleName(tr("Phone preview"));
  setAccessibleDescription(tr(
      "The video as viewers will see it. Drag the camera bubble to move it, the wheel resizes it; "
      "drag the divider, double-click it to swap the halves. Tab selects a handle; the arrow keys move it."));
  for (auto signal : {&Studio::phaseChanged, &Studio::countdownChanged, &Studio::pausedAtChanged,
                      &Studio::prefsChanged, &Studio::toastChanged})
    connect(&studio_, signal, this, qOverload<>(&QWidget::update));
  for (auto signal : {&Studio::welcomedChanged, &Studio::cameraAccessChanged, &Studio::micAccessChanged,
                      &Studio::prefsChanged, &Studio::phaseChanged})
    connect(&studio_, signal, this, [this] { updateCard(); });
  for (auto signal : {&Studio::phaseChanged, &Studio::takeChanged})
    connect(&studio_, signal, this, [this] { followReview(); });
  // A take begun by the key or `vorn --toggle` is a start too: the welcome never covers it.
  connect(&studio_, &Studio::phaseChanged, this, [this] {
    if (studio_.phase() == Phase::countdown && !studio_.welcomed()) studio_.setWelcomed(true);
  });
  updateCard();
}

void PhoneView::showFrame(const ConstFrameRef& frame) {
  frame_ = frame;
  update(shown(screenRect()));
}

void PhoneView::followReview() {
  if (studio_.phase() == Phase::review && studio_.take()) {
    const QString item = reviewSource_ ? reviewSource_() : QString();
    player_.play(item.isEmpty() ? studio_.take()->url.toLocalFile() : item, screenSize * (scale_ * devicePixelRatioF()));
  } else {
    player_.stop();
    reviewFrame_.reset();
  }
}

const ConstFrameRef& PhoneView::picture() const {
  return studio_.phase() == Phase::review && reviewFrame_ ? reviewFrame_ : frame_;
}

QRectF PhoneView::screenRect() const { return QRectF(QPointF(bezel, bezel), QSizeF(screenSize)); }

QRect PhoneView::shown(const QRectF& r) const {
  return QRectF(r.topLeft() * scale_, r.size() * scale_).toAlignedRect();
}

void PhoneView::setScale(double scale) {
  if (scale == scale_) return;
  scale_ = scale;
  setFixedSize((QSizeF(bodySize) * scale).toSize());
  placeCard();
  update();
}

LayoutHandles::Places PhoneView::places() const {
  if (studio_.phase() == Phase::review) return {};  // a finished take is not rearranged
  return LayoutHandles::locate(studio_.prefs(), QSizeF(screenSize));
}

void PhoneView::updateCard() {
  const std::optional<PhoneCard::Kind> due = PhoneCard::due(studio_);
  if (card_ && (!due || card_->kind() != *due)) {
    card_->hide();
    card_->deleteLater();  // it may be in the middle of its own click
    card_ = nullptr;
  }
  if (due && !card_) {
    card_ = new PhoneCard(*due, studio_, this);
    placeCard();
    card_->show();
  }
}

// The card keeps its text at full size where it can: on a phone shrunk to fit the screen it
// takes more of it, and only where even that is too little does its text shrink.
void PhoneView::placeCard() {
  if (!card_) return;
  const double inset = std::clamp(14 * scale_ * scale_, 4.0, 14.0);
  card_->setGeometry(shown(screenRect()).adjusted(int(inset), int(60 * scale_ * scale_), -int(inset),
                                                  -int(60 * scale_ * scale_)));
  card_->fitText();
}

// ---- Drawing.

void PhoneView::paintEvent(QPaintEvent*) {
  ++paints_;
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  p.scale(scale_, scale_);  // drawn in the phone's own points
  paintBody(p);
  paintScreen(p);
}

void PhoneView::paintBody(QPainter& p) {
  const QRectF body = QRectF(QPointF(), QSizeF(bodySize)).adjusted(0.7, 0.7, -0.7, -0.7);
  p.setPen(Qt::NoPen);
  p.setBrush(QColor::fromRgbF(0.012f, 0.012f, 0.012f));
  p.drawRoundedRect(body, kBodyRadius, kBodyRadius);
  // A metallic rim: the light catches the edge unevenly on its way round.
  QConicalGradient rim(body.center(), 90);
  const double stops[] = {0.42, 0.07, 0.18, 0.05};
  for (int i = 0; i <= 4; ++i) rim.setColorAt(i / 4.0, QColor::fromRgbF(1, 1, 1, float(stops[i % 4])));
  p.setPen(QPen(QBrush(rim), 1.4));
  p.setBrush(Qt::NoBrush);
  p.drawRoundedRect(body, kBodyRadius, kBodyRadius);
}

void PhoneView::paintScreen(QPainter& p) {
  const QRectF screen = screenRect();
  QPainterPath clip;
  clip.addRoundedRect(screen, kScreenRadius, kScreenRadius);
  p.save();
  p.setClipPath(clip);
  p.fillRect(screen, QColor(28, 28, 30));
  if (const ConstFrameRef& shown = picture()) {
    // A view onto the frame's own pixels: nothing is copied. Composed at this very size, it
    // goes to the window pixel for pixel; only a frame of another size needs smoothing.
    const QImage picture = shown->image();
    if (std::lround(screen.width() * scale_ * devicePixelRatioF()) != picture.width())
      p.setRenderHint(QPainter::SmoothPixmapTransform);
    p.drawImage(screen, picture);
  }
  p.translate(screen.topLeft());
  paintGhostUI(p, studio_.prefs().platform, screen.size());
  p.translate(-screen.topLeft());
  paintStatus(p, screen);
  paintHandles(p, places());
  if (const auto toast = studio_.toast()) paintToast(p, screen.toRect(), *toast);
  p.restore();
}

void PhoneView::paintStatus(QPainter& p, const QRectF& screen) {
  // The island hangs from the top of the screen; it widens while recording.
  const Phase phase = studio_.phase();
  const double islandWidth = phase == Phase::recording ? 96 : 82;
  const QRectF island(screen.center().x() - islandWidth / 2, screen.top() + 9, islandWidth, 25);
  p.setPen(Qt::NoPen);
  p.setBrush(Qt::black);
  p.drawRoundedRect(island, 12.5, 12.5);
  if (phase == Phase::recording) {
    p.setFont(sizedFont(12, QFont::DemiBold));
    p.setPen(studio_.isPaused() ? QColor(255, 200, 90) : QColor(255, 90, 80));
    p.drawText(island, Qt::AlignCenter, elapsedText(studio_.elapsed(mediaTime())));
  }
  if (phase == Phase::countdown && studio_.countdown() > 0) {
    p.setFont(sizedFont(150, QFont::ExtraLight));
    p.setPen(Qt::white);
    p.drawText(screen, Qt::AlignCenter, QString::number(studio_.countdown()));
  } else if (phase == Phase::finishing) {
    p.setFont(sizedFont(20, QFont::Medium));
    p.setPen(Qt::white);
    p.drawText(screen, Qt::AlignCenter, tr("Saving"));
  } else if (phase == Phase::recording && studio_.isPaused()) {
    const QRectF capsule(screen.center().x() - 46, screen.center().y() - 16, 92, 32);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 115));
    p.drawRoundedRect(capsule, 16, 16);
    p.setFont(sizedFont(14, QFont::DemiBold));
    p.setPen(Qt::white);
    p.drawText(capsule, Qt::AlignCenter, tr("Paused"));
  }
}

void PhoneView::paintHandles(QPainter& p, const LayoutHandles::Places& places) {
  const QPointF origin = screenRect().topLeft();
  if (places.bubble && (hover_ == Grab::bubble || grab_ == Grab::bubble || selected_ == Grab::bubble)) {
    p.setPen(QPen(QColor::fromRgbF(1, 1, 1, 0.7f), 1));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(places.bubble->translated(origin));
  }
  if (places.dividerY) {
    const QRectF grip(origin.x() + screenSize.width() / 2.0 - 22, origin.y() + *places.dividerY - 2.5, 44, 5);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 102));
    p.drawRoundedRect(grip.translated(0, 1), 2.5, 2.5);
    p.setBrush(QColor::fromRgbF(1, 1, 1, 0.95f));
    p.drawRoundedRect(grip, 2.5, 2.5);
    if (selected_ == Grab::divider) {
      p.setPen(QPen(QColor::fromRgbF(1, 1, 1, 0.7f), 1));
      p.setBrush(Qt::NoBrush);
      p.drawRoundedRect(grip.adjusted(-4, -4, 4, 4), 6.5, 6.5);
    }
  }
}

// ---- Gestures.

PhoneView::Grab PhoneView::grabAt(QPointF at) const {
  const LayoutHandles::Places handles = places();
  const QPointF local = at - screenRect().topLeft();
  if (handles.bubble) {
    const QPointF d = local - handles.bubble->center();
    if (std::hypot(d.x(), d.y()) <= handles.bubble->width() / 2) return Grab::bubble;
  }
  if (handles.dividerY && std::abs(local.y() - *handles.dividerY) <= 8 && screenRect().contains(at))
    return Grab::divider;
  return Grab::window;
}

void PhoneView::contextMenuEvent(QContextMenuEvent* event) {
  if (menu_) menu_->exec(event->globalPos());
}

void PhoneView::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  grab_ = grabAt(event->position() / scale_);
  select(grab_ == Grab::window ? Grab::none : grab_);
  if (selected_ != Grab::none) setFocus(Qt::MouseFocusReason);
  pressAt_ = event->position();
  fieldsAtPress_ = studio_.prefs();
  bubbleStart_ = {fieldsAtPress_.bubbleX, fieldsAtPress_.bubbleY};
}

// Off the handles a drag moves the window, or in review hands out the take; both start only
// once the pointer has moved with the button down, so a click stays a click.
void PhoneView::dragOffTheHandles() {
  grab_ = Grab::none;
  if (studio_.phase() == Phase::review && studio_.take()) shareByDrag();
  else if (window()->windowHandle()) window()->windowHandle()->startSystemMove();
}

// In review the phone is the take (or its reel): dragging it drops the file wherever files
// are taken (a folder, an upload box, a chat).
void PhoneView::shareByDrag() {
  const QString item = reviewSource_ ? reviewSource_() : studio_.take()->url.toLocalFile();
  auto* data = new QMimeData;
  data->setUrls({QUrl::fromLocalFile(item)});
  auto* drag = new QDrag(this);
  drag->setMimeData(data);
  if (const ConstFrameRef& shown = picture())
    drag->setPixmap(QPixmap::fromImage(shown->image().scaledToWidth(96, Qt::SmoothTransformation)));
  drag->exec(Qt::CopyAction);
}

void PhoneView::mouseMoveEvent(QMouseEvent* event) {
  const QPointF t = (event->position() - pressAt_) / scale_;
  switch (grab_) {
    case Grab::bubble: {
      const QPointF c = LayoutHandles::movedBubble(bubbleStart_, {t.x(), t.y()}, studio_.prefs().bubbleSize,
                                                   QSizeF(screenSize));
      studio_.adjustPrefs([&](Prefs& prefs) {
        prefs.bubbleX = c.x();
        prefs.bubbleY = c.y();
      });
      break;
    }
    case Grab::divider: {
      const double ratio = LayoutHandles::movedDivider(fieldsAtPress_, t.y(), screenSize.height());
      studio_.adjustPrefs([&](Prefs& prefs) { prefs.splitRatio = ratio; });
      break;
    }
    case Grab::window:
      if (event->buttons().testFlag(Qt::LeftButton) && pastDragDistance(pressAt_, event->position()))
        dragOffTheHandles();
      break;
    case Grab::none: {
      const Grab over = grabAt(event->position() / scale_);
      if (over != hover_) {
        hover_ = over;
        setToolTip(over == Grab::bubble    ? tr("Drag to move · pinch to resize")
                   : over == Grab::divider ? tr("Double-click to swap")
                                           : QString());
        setCursor(over == Grab::divider ? Qt::SizeVerCursor : over == Grab::bubble ? Qt::OpenHandCursor : Qt::ArrowCursor);
        update();
      }
    }
  }
}

void PhoneView::mouseReleaseEvent(QMouseEvent*) {
  grab_ = Grab::none;
  studio_.savePrefs();
}

// ---- The keyboard: the selected handle moves by arrow steps, each saved like a drag's end.
// Other keys, and arrows with no handle selected, go on to the window (the studio's keys).

void PhoneView::select(Grab handle) {
  if (handle == selected_) return;
  selected_ = handle;
  update();
}

void PhoneView::focusInEvent(QFocusEvent* event) {
  const LayoutHandles::Places handles = places();
  if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason)
    select(handles.bubble ? Grab::bubble : handles.dividerY ? Grab::divider : Grab::none);
  QWidget::focusInEvent(event);
}

void PhoneView::focusOutEvent(QFocusEvent* event) {
  // The window going to the back, or a menu opening, leaves the handle selected for its return.
  if (event->reason() != Qt::ActiveWindowFocusReason && event->reason() != Qt::PopupFocusReason)
    select(Grab::none);
  QWidget::focusOutEvent(event);
}

void PhoneView::keyPressEvent(QKeyEvent* event) {
  const std::optional<Point> step = arrowStep(event->key(), event->modifiers());
  const LayoutHandles::Places handles = places();
  if (step && selected_ == Grab::bubble && handles.bubble) {
    const Prefs& prefs = studio_.prefs();
    const QPointF c = LayoutHandles::movedBubble({prefs.bubbleX, prefs.bubbleY}, {step->x, step->y},
                                                 prefs.bubbleSize, QSizeF(screenSize));
    studio_.adjustPrefs([&](Prefs& p) {
      p.bubbleX = c.x();
      p.bubbleY = c.y();
    });
  } else if (step && selected_ == Grab::divider && handles.dividerY) {
    // The divider moves up and down only; sideways keys stop here rather than move the frame.
    const double ratio = LayoutHandles::movedDivider(studio_.prefs(), step->y, screenSize.height());
    studio_.adjustPrefs([&](Prefs& p) { p.splitRatio = ratio; });
  } else {
    return QWidget::keyPressEvent(event);
  }
  studio_.savePrefs();
}

void PhoneView::mouseDoubleClickEvent(QMouseEvent* event) {
  if (grabAt(event->position() / scale_) != Grab::divider) return;
  studio_.updatePrefs([](Prefs& prefs) { prefs.cameraOnTop = !prefs.cameraOnTop; });
}

void PhoneView::wheelEvent(QWheelEvent* event) {
  // The wheel stands in for the pinch where there is no touchpad gesture.
  if (grabAt(event->position() / scale_) != Grab::bubble) return;
  const double steps = event->angleDelta().y() / 120.0;
  const double size = LayoutHandles::pinchedBubble(studio_.prefs().bubbleSize, std::exp(0.08 * steps));
  studio_.updatePrefs([&](Prefs& prefs) { prefs.bubbleSize = size; });
}

}  // namespace vorn
