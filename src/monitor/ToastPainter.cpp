// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/ToastPainter.h"

#include <QFontMetrics>

namespace vorn {

void paintToast(QPainter& painter, const QRect& area, const QString& text) {
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  QFont font = painter.font();
  font.setPointSizeF(10);
  font.setWeight(QFont::DemiBold);
  painter.setFont(font);
  const int margin = 14, padX = 16, padY = 8;
  // A long sentence wraps onto a second line rather than losing its end.
  const QRect room(0, 0, area.width() - 2 * (margin + padX), area.height() / 3);
  const QRect textBox = QFontMetrics(font).boundingRect(room, Qt::AlignCenter | Qt::TextWordWrap, text);
  const QRectF capsule(area.center().x() - textBox.width() / 2.0 - padX,
                       area.bottom() - margin - textBox.height() - 2 * padY,
                       textBox.width() + 2 * padX, textBox.height() + 2 * padY);
  const double radius = std::min(capsule.height() / 2, 18.0);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor(20, 20, 22, 230));
  painter.drawRoundedRect(capsule, radius, radius);
  painter.setPen(Qt::white);
  painter.drawText(capsule, Qt::AlignCenter | Qt::TextWordWrap, text);
  painter.restore();
}

}  // namespace vorn
