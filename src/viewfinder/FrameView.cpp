// SPDX-License-Identifier: GPL-3.0-or-later
#include "viewfinder/FrameView.h"

#include "engine/Engine.h"
#include "model/Studio.h"
#include "render/Icons.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

const QColor kRed = QColor::fromRgbF(1.0f, 0.3f, 0.26f);

QFont chipFont() {
  QFont font;
  font.setPixelSize(12);  // 11.5 points, the nearest whole pixel
  font.setWeight(QFont::Medium);
  return font;
}

QColor withAlpha(QColor c, double alpha) {
  c.setAlphaF(float(alpha));
  return c;
}

QPen pen(const QColor& color, double width, Qt::PenStyle style = Qt::SolidLine) {
  QPen p(color, width, style, Qt::RoundCap, Qt::RoundJoin);
  return p;
}

void drawSymbol(QPainter& p, const QString& symbol, double size, const QRectF& box, double opacity = 1) {
  const QPixmap pixmap = symbolIcon(symbol.toStdString()).pixmap(int(std::ceil(size * 2)));
  const QRectF target(box.center().x() - size / 2, box.center().y() - size / 2, size, size);
  p.save();
  p.setOpacity(opacity);
  p.drawPixmap(target, pixmap, pixmap.rect());
  p.restore();
}

}  // namespace

FrameView::FrameView(Engine& engine, Studio& studio, QWidget* parent)
    : QWidget(parent), engine_(engine), studio_(studio) {
  setAttribute(Qt::WA_TranslucentBackground);
  setMouseTracking(true);
  setAccessibleName(tr("Capture frame"));
  setAccessibleDescription(tr("The part of the screen that is recorded. Drag its edge to move it, "
                              "its corners to resize it; the arrow keys move it from the studio's window."));
}

double FrameView::chipWidth() {
  static const double width = [] {
    const QFontMetricsF metrics(chipFont());
    double widest = 0;
    for (const QString& text : FrameZones::chipTexts()) widest = std::max(widest, metrics.horizontalAdvance(text));
    return widest > 0 ? std::ceil(widest) + 40 : 240.0;
  }();
  return width;
}

bool FrameView::setState(const FrameState& state) {
  if (state == state_) return false;
  state_ = state;
  update();
  return true;
}

void FrameView::setRegion(QSizeF size, ChipPlace chipPlace) {
  if (size == zones_.regionSize && chipPlace == zones_.chipPlace) return;
  zones_.regionSize = size;
  zones_.chipPlace = chipPlace;
  update();
}

void FrameView::updateCursor(QPointF at) {
  if (drag_) return;
  const FrameZones::Zone zone = zones_.zone(at);
  switch (zone.kind) {
    case FrameZones::Kind::spark:
    case FrameZones::Kind::hide: setCursor(Qt::PointingHandCursor); break;
    case FrameZones::Kind::corner:
      setCursor(zone.corner == 0 || zone.corner == 3 ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor);
      break;
    default: setCursor(Qt::OpenHandCursor);
  }
}

// ---- Gestures.

void FrameView::mousePressEvent(QMouseEvent* event) { press(event->position(), event->globalPosition()); }

void FrameView::mouseDoubleClickEvent(QMouseEvent* event) {
  // A double click fits the frame; on a corner it starts a resize like a single click.
  if (zones_.zone(event->position()).kind == FrameZones::Kind::body) return engine_.zoomFrame();
  press(event->position(), event->globalPosition());
}

void FrameView::press(QPointF at, QPointF global) {
  const FrameZones::Zone zone = zones_.zone(at);
  if (zone.kind == FrameZones::Kind::spark) return engine_.suggest();
  if (zone.kind == FrameZones::Kind::hide) return engine_.close();
  startMouse_ = global;
  engine_.beginDrag();
  const Rect h = engine_.home();
  if (zone.kind == FrameZones::Kind::corner) {
    const QPointF corners[] = {{h.x, h.y}, {h.x + h.width, h.y}, {h.x, h.y + h.height},
                               {h.x + h.width, h.y + h.height}};
    drag_ = Drag{true, h, corners[3 - zone.corner], corners[zone.corner]};
  } else {
    drag_ = Drag{false, h, {}, {}};
    setCursor(Qt::ClosedHandCursor);
  }
}

void FrameView::mouseMoveEvent(QMouseEvent* event) {
  if (!drag_) return;
  const QPointF d = event->globalPosition() - startMouse_;
  if (drag_->resize)
    engine_.resize({drag_->anchor.x(), drag_->anchor.y()},
                   {drag_->corner.x() + d.x(), drag_->corner.y() + d.y()});
  else
    engine_.drag({drag_->home.x + d.x(), drag_->home.y + d.y(), drag_->home.width, drag_->home.height});
}

void FrameView::mouseReleaseEvent(QMouseEvent*) {
  if (!drag_) return;
  drag_.reset();
  engine_.endDrag();  // stops dragging and saves the frame soon
  studio_.setLearnedFrame(true);
  setCursor(Qt::OpenHandCursor);
}

void FrameView::wheelEvent(QWheelEvent* event) {
  const bool precise = !event->pixelDelta().isNull();
  const double delta = precise ? event->pixelDelta().y() * 0.004 : event->angleDelta().y() / 120.0 * 0.04;
  if (delta != 0) engine_.scale(std::exp(delta));
}

// ---- Drawing.

void FrameView::paintEvent(QPaintEvent*) {
  ++paints_;
  const QRectF r = zones_.region();
  if (r.width() <= 4) return;
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  const bool recording = state_.phase == Phase::recording;
  const QColor base = recording && !state_.paused ? kRed : QColor(Qt::white);

  if (state_.rail) paintRail(p, r);
  const double hairline = recording ? 0.7 : (state_.gripHot || state_.dragging) ? 0.6 : 0.3;
  p.setPen(pen(withAlpha(base, hairline), 1));
  p.drawRect(r.adjusted(-0.5, -0.5, 0.5, 0.5));
  paintGuides(p, r, base);
  paintBrackets(p, r, base);
  if (state_.phase == Phase::framing) {
    paintGrip(p, r);
    paintChip(p, r);
  } else {
    zones_.sparkRect = zones_.hideRect = QRectF();
  }
  if (state_.countdown >= 1) paintCountdown(p, r);
}

void FrameView::paintGuides(QPainter& p, const QRectF& r, const QColor&) {
  if (state_.dragging && state_.phase != Phase::recording) {
    p.setPen(pen(QColor(255, 255, 255, 33), 1));
    for (const double f : {1.0 / 3, 2.0 / 3}) {
      p.drawLine(QPointF(r.left() + r.width() * f, r.top()), QPointF(r.left() + r.width() * f, r.bottom()));
      p.drawLine(QPointF(r.left(), r.top() + r.height() * f), QPointF(r.right(), r.top() + r.height() * f));
    }
  }
  if (state_.safe && state_.phase == Phase::framing) {
    const std::vector<double>& s = *state_.safe;
    QPen dashed = pen(QColor(255, 255, 255, 56), 1);
    dashed.setCapStyle(Qt::FlatCap);
    dashed.setDashPattern({3, 5});
    p.setPen(dashed);
    const double upper = r.top() + r.height() * s[0], lower = r.bottom() - r.height() * s[1];
    const double side = r.right() - r.width() * s[2];
    p.drawLine(QPointF(r.left() + 8, upper), QPointF(r.right() - 8, upper));
    p.drawLine(QPointF(r.left() + 8, lower), QPointF(r.right() - 8, lower));
    p.drawLine(QPointF(side, upper), QPointF(side, lower));
    QFont label;
    label.setPixelSize(9);
    label.setWeight(QFont::DemiBold);
    label.setLetterSpacing(QFont::AbsoluteSpacing, 1.6);
    p.setFont(label);
    p.setPen(QColor(255, 255, 255, 107));
    p.drawText(QPointF(r.left() + 12, lower + 8 + 9), tr("CAPTIONS"));
  }
  if (state_.ideal && std::abs(*state_.ideal - 1) > 0.04) {
    const double w = r.width() * *state_.ideal, h = r.height() * *state_.ideal;
    QPen dashed = pen(QColor::fromRgbF(0.6f, 0.9f, 0.68f, 0.7f), 1.2);
    dashed.setDashPattern({6 / 1.2, 6 / 1.2});
    p.setPen(dashed);
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(r.center().x() - w / 2, r.center().y() - h / 2, w, h), 2, 2);
  }
}

// Opaque: without a compositor anything translucent would be drawn black.
void FrameView::paintRail(QPainter& p, const QRectF& r) {
  QPainterPath band;
  band.addRect(FrameZones::bandOuter(r));
  band.addRect(state_.railInside ? FrameZones::bandInner(r) : r);
  band.setFillRule(Qt::OddEvenFill);
  p.save();
  p.setRenderHint(QPainter::Antialiasing, false);  // no half-drawn pixels for the window's shape
  p.fillPath(band, QColor(44, 44, 48));
  p.restore();
}

void FrameView::paintBrackets(QPainter& p, const QRectF& region, const QColor& base) {
  const bool recording = state_.phase == Phase::recording;
  const double width = 3 + 2.5 * state_.pulse;
  const double shadowWidth = width + (recording ? 8 : 4);
  // Wholly outside the region, shadow included: where the display server cannot leave the
  // frame out of the take, not one of its pixels lands in it.
  const double out = shadowWidth / 2 + 0.5;
  const QRectF r = region.adjusted(-out, -out, out, out);
  const double arm = std::min({0.16 * r.width(), 0.16 * r.height(), 30.0});
  const double alpha = state_.hover || state_.dragging || state_.pulse > 0 ? 1.0 : 0.85;
  QPainterPath path;
  const auto bracket = [&](QPointF corner, double dx, double dy) {
    path.moveTo(corner + QPointF(0, dy * arm));
    path.lineTo(corner);
    path.lineTo(corner + QPointF(dx * arm, 0));
  };
  bracket(r.topLeft(), 1, 1);
  bracket(r.topRight(), -1, 1);
  bracket(r.bottomLeft(), 1, -1);
  bracket(r.bottomRight(), -1, -1);
  // The shadow: a wider, faint stroke under the bracket (red and wider while recording).
  const QColor shadow = recording ? withAlpha(kRed, 0.6 * 0.35) : QColor(0, 0, 0, int(0.45 * 0.4 * 255));
  p.setBrush(Qt::NoBrush);
  p.setPen(pen(shadow, shadowWidth));
  p.drawPath(path);
  p.setPen(pen(withAlpha(base, alpha), width));
  p.drawPath(path);
}

void FrameView::paintGrip(QPainter& p, const QRectF& r) {
  const bool hot = state_.gripHot || state_.dragging;
  const double width = hot ? 46 : 34;
  const double y = zones_.chipPlace == ChipPlace::above   ? r.top() - 11 - 5
                   : zones_.chipPlace == ChipPlace::below ? r.bottom() + 11
                                                          : r.top() + 6;
  const QRectF grip(r.center().x() - width / 2, y, width, 5);
  p.setPen(Qt::NoPen);
  p.setBrush(QColor(0, 0, 0, 50));
  p.drawRoundedRect(grip.adjusted(-1.5, -1, 1.5, 2), 3.5, 3.5);
  p.setBrush(QColor(255, 255, 255, int((hot ? 0.95 : 0.62) * 255)));
  p.drawRoundedRect(grip, 2.5, 2.5);
}

void FrameView::paintChip(QPainter& p, const QRectF& r) {
  const double y = zones_.chipPlace == ChipPlace::above   ? r.top() - 46
                   : zones_.chipPlace == ChipPlace::below ? r.bottom() + 20
                                                          : r.top() + 16;
  const QRectF chip(zones_.chipPlace == ChipPlace::inside ? r.left() + 8 : r.left() - 2.5, y, chipWidth(), 26);
  p.setPen(pen(QColor(255, 255, 255, 26), 1));
  p.setBrush(QColor::fromRgbF(0.07f, 0.07f, 0.07f, 0.86f));
  p.drawRoundedRect(chip, 13, 13);

  QString text;
  if (!state_.hint || state_.dragging) {
    static const QColor dots[] = {QColor::fromRgbF(0.52f, 0.88f, 0.62f), QColor::fromRgbF(1.0f, 0.8f, 0.42f), kRed};
    p.setPen(Qt::NoPen);
    p.setBrush(dots[int(FrameReadout::verdict(state_.points))]);
    p.drawEllipse(QRectF(chip.left() + 12, chip.center().y() - 3.5, 7, 7));
    text = FrameReadout::readability(state_.points);
  } else {
    drawSymbol(p, state_.hint->symbol, 10.5, QRectF(chip.left() + 8, chip.top(), 20, 26));
    text = state_.hint->text;
  }
  p.setFont(chipFont());
  p.setPen(QColor(255, 255, 255, int(0.92 * 255)));
  p.drawText(QRectF(chip.left() + 28, chip.top(), chip.width() - 28, chip.height()),
             Qt::AlignLeft | Qt::AlignVCenter, text);

  zones_.sparkRect = QRectF(chip.right() + 6, chip.top(), 26, 26);
  zones_.hideRect = QRectF(zones_.sparkRect.right() + 6, chip.top(), 26, 26);
  const auto button = [&](const QRectF& box, const char* symbol, double size, FrameZones::Kind kind) {
    const bool lit = state_.hint && state_.hint == FrameZones::hint({kind});
    p.setPen(pen(QColor(255, 255, 255, 26), 1));
    p.setBrush(lit ? QColor::fromRgbF(0.2f, 0.2f, 0.2f, 0.92f) : QColor::fromRgbF(0.07f, 0.07f, 0.07f, 0.86f));
    p.drawEllipse(box);
    drawSymbol(p, symbol, size, box, lit ? 1.0 : 0.8);
  };
  button(zones_.sparkRect, "sparkles", 11.5, FrameZones::Kind::spark);
  button(zones_.hideRect, "xmark", 9.5, FrameZones::Kind::hide);
}

void FrameView::paintCountdown(QPainter& p, const QRectF& r) {
  const QRectF circle = FrameZones::countdownCircle(r, state_.covered);
  const double d = circle.width();
  p.setPen(Qt::NoPen);
  p.setBrush(QColor(0, 0, 0, int(0.42 * 255)));
  p.drawEllipse(circle);
  QFont digits;
  digits.setPixelSize(std::max(1, int(0.55 * d)));
  digits.setWeight(QFont::ExtraLight);
  p.setFont(digits);
  p.setPen(Qt::white);
  p.drawText(circle, Qt::AlignCenter, QString::number(state_.countdown));
}

}  // namespace vorn
