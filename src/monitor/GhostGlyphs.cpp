// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/GhostGlyphs.h"

#include <QPainterPath>

namespace vorn {
namespace {

QPainterPath heart() {
  QPainterPath path;  // in a unit square
  path.moveTo(0.5, 0.92);
  path.cubicTo(0.05, 0.6, 0.0, 0.35, 0.1, 0.2);
  path.cubicTo(0.22, 0.02, 0.45, 0.06, 0.5, 0.26);
  path.cubicTo(0.55, 0.06, 0.78, 0.02, 0.9, 0.2);
  path.cubicTo(1.0, 0.35, 0.95, 0.6, 0.5, 0.92);
  return path;
}

QPainterPath bubble() {
  QPainterPath path;
  path.addEllipse(QRectF(0.05, 0.08, 0.9, 0.78));
  QPainterPath tail;
  tail.moveTo(0.22, 0.7);
  tail.lineTo(0.12, 0.97);
  tail.lineTo(0.45, 0.82);
  tail.closeSubpath();
  return path.united(tail);
}

QPainterPath paperplane() {
  QPainterPath path;
  path.moveTo(0.05, 0.45);
  path.lineTo(0.95, 0.08);
  path.lineTo(0.6, 0.95);
  path.lineTo(0.45, 0.58);
  path.closeSubpath();
  return path;
}

QPainterPath bookmark() {
  QPainterPath path;
  path.moveTo(0.2, 0.05);
  path.lineTo(0.8, 0.05);
  path.lineTo(0.8, 0.95);
  path.lineTo(0.5, 0.72);
  path.lineTo(0.2, 0.95);
  path.closeSubpath();
  return path;
}

QPainterPath arrow() {
  QPainterPath path;  // a curved arrow pointing right
  path.moveTo(0.55, 0.1);
  path.lineTo(0.95, 0.45);
  path.lineTo(0.55, 0.8);
  path.lineTo(0.55, 0.6);
  path.cubicTo(0.3, 0.6, 0.15, 0.7, 0.05, 0.9);
  path.cubicTo(0.08, 0.5, 0.3, 0.32, 0.55, 0.3);
  path.closeSubpath();
  return path;
}

QPainterPath thumb() {
  QPainterPath path;
  path.addRoundedRect(QRectF(0.05, 0.42, 0.2, 0.5), 0.04, 0.04);
  QPainterPath hand;
  hand.moveTo(0.32, 0.42);
  hand.lineTo(0.5, 0.08);
  hand.cubicTo(0.62, 0.05, 0.68, 0.15, 0.62, 0.36);
  hand.lineTo(0.88, 0.36);
  hand.cubicTo(0.96, 0.38, 0.97, 0.46, 0.94, 0.52);
  hand.lineTo(0.84, 0.88);
  hand.cubicTo(0.8, 0.92, 0.76, 0.92, 0.72, 0.92);
  hand.lineTo(0.32, 0.92);
  hand.closeSubpath();
  return path.united(hand);
}

QPainterPath unitPath(Glyph glyph) {
  QPainterPath path;
  switch (glyph) {
    case Glyph::heart:
    case Glyph::heartFill: return heart();
    case Glyph::bubble:
    case Glyph::bubbleFill:
    case Glyph::textBubble: return bubble();
    case Glyph::paperplane: return paperplane();
    case Glyph::bookmark: return bookmark();
    case Glyph::share:
    case Glyph::turnArrow: return arrow();
    case Glyph::thumbUp: return thumb();
    case Glyph::thumbDown: return QTransform(1, 0, 0, -1, 0, 1).map(thumb());
    case Glyph::camera:
      path.addRoundedRect(QRectF(0.05, 0.28, 0.9, 0.62), 0.12, 0.12);
      path.addRect(QRectF(0.35, 0.16, 0.3, 0.14));
      return path;
    case Glyph::remix:
      path.addEllipse(QRectF(0.1, 0.1, 0.8, 0.8));
      path.addEllipse(QRectF(0.32, 0.32, 0.36, 0.36));
      return path;
    case Glyph::disc:
      path.addEllipse(QRectF(0, 0, 1, 1));
      return path;
    case Glyph::ellipsis:
    case Glyph::magnifier: break;  // drawn with strokes below
  }
  return path;
}

bool filled(Glyph glyph) {
  switch (glyph) {
    case Glyph::heartFill:
    case Glyph::bubbleFill:
    case Glyph::textBubble:
    case Glyph::bookmark:
    case Glyph::share:
    case Glyph::turnArrow:
    case Glyph::thumbUp:
    case Glyph::thumbDown:
    case Glyph::disc: return true;
    default: return false;
  }
}

}  // namespace

void paintGlyph(QPainter& p, Glyph glyph, QPointF at, double size) {
  p.save();
  p.translate(at.x() - size / 2, at.y() - size / 2);
  p.scale(size, size);
  const QColor colour = p.pen().color();
  QPen outline(colour, 0.08, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
  if (glyph == Glyph::ellipsis) {
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    for (const double x : {0.18, 0.5, 0.82}) p.drawEllipse(QPointF(x, 0.5), 0.08, 0.08);
  } else if (glyph == Glyph::magnifier) {
    p.setPen(outline);
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(0.1, 0.1, 0.6, 0.6));
    p.drawLine(QPointF(0.62, 0.62), QPointF(0.92, 0.92));
  } else if (filled(glyph)) {
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    p.drawPath(unitPath(glyph));
  } else {
    p.setPen(outline);
    p.setBrush(Qt::NoBrush);
    p.drawPath(unitPath(glyph));
  }
  p.restore();
}

}  // namespace vorn
