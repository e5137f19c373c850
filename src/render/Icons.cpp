#include "render/Icons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

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

}  // namespace

QIcon symbolIcon(std::string_view name) {
  QPixmap pixmap(kSide, kSide);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  if (name == "record.circle.fill")
    drawRecordCircle(painter);
  else
    drawPortraitInset(painter);  // "rectangle.portrait.inset.filled", the app's own symbol
  painter.end();
  return QIcon(pixmap);
}

}  // namespace vorn
