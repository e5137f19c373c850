// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Icons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include <cmath>
#include <vector>

namespace vorn {
namespace {

constexpr int kSide = 64;

void drawPortraitInset(QPainter& p) {
  QPainterPath outline;
  outline.addRoundedRect(QRectF(16, 4, 32, 56), 6, 6);
  p.setPen(QPen(Qt::white, 4));
  p.drawPath(outline);
  p.setPen(Qt::NoPen);
  p.setBrush(Qt::white);
  p.drawRoundedRect(QRectF(23, 11, 18, 42), 3, 3);
}

void drawRecordCircle(QPainter& p) {
  p.setPen(QPen(Qt::white, 4));
  p.setBrush(Qt::NoBrush);
  p.drawEllipse(QRectF(6, 6, 52, 52));
  p.setPen(Qt::NoPen);
  p.setBrush(QColor(255, 59, 48));
  p.drawEllipse(QRectF(16, 16, 32, 32));
}

void drawSparkles(QPainter& p) {
  const auto star = [&](QPointF c, double r) {
    QPainterPath path;
    path.moveTo(c.x(), c.y() - r);
    path.quadTo(c, QPointF(c.x() + r, c.y()));
    path.quadTo(c, QPointF(c.x(), c.y() + r));
    path.quadTo(c, QPointF(c.x() - r, c.y()));
    path.quadTo(c, QPointF(c.x(), c.y() - r));
    p.fillPath(path, Qt::white);
  };
  star({26, 36}, 22);
  star({48, 14}, 11);
  star({50, 48}, 8);
}

void drawXmark(QPainter& p) {
  p.setPen(QPen(Qt::white, 7, Qt::SolidLine, Qt::RoundCap));
  p.drawLine(QPointF(14, 14), QPointF(50, 50));
  p.drawLine(QPointF(50, 14), QPointF(14, 50));
}

// Arrow heads at each end of the lines through the centre: resize (one diagonal) or move (the
// four directions).
void drawArrows(QPainter& p, bool move) {
  p.setPen(QPen(Qt::white, 5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  const QPointF c(32, 32);
  const std::vector<QPointF> ends = move ? std::vector<QPointF>{{32, 6}, {32, 58}, {6, 32}, {58, 32}}
                                         : std::vector<QPointF>{{10, 10}, {54, 54}};
  for (const QPointF& end : ends) {
    p.drawLine(c, end);
    const QPointF back = (c - end) / std::hypot(c.x() - end.x(), c.y() - end.y()) * 11;
    const QPointF side(-back.y(), back.x());
    p.drawLine(end, end + back + side * 0.7);
    p.drawLine(end, end + back - side * 0.7);
  }
}

}  // namespace

QIcon symbolIcon(std::string_view name) {
  QPixmap pixmap(kSide, kSide);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  if (name == "record.circle.fill")
    drawRecordCircle(painter);
  else if (name == "sparkles")
    drawSparkles(painter);
  else if (name == "xmark")
    drawXmark(painter);
  else if (name == "arrow.up.left.and.arrow.down.right")
    drawArrows(painter, false);
  else if (name == "arrow.up.and.down.and.arrow.left.and.right")
    drawArrows(painter, true);
  else
    drawPortraitInset(painter);  // "rectangle.portrait.inset.filled", the app's own symbol
  painter.end();
  return QIcon(pixmap);
}

}  // namespace vorn
