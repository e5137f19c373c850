// SPDX-License-Identifier: GPL-3.0-or-later
#include "viewfinder/DimView.h"

#include "desktop/OverlayPanel.h"

#include <QPainter>
#include <QPainterPath>

namespace vorn {

DimView::DimView(OverlayPanel& panel) : QWidget(&panel), panel_(panel) {
  setAttribute(Qt::WA_TranslucentBackground);
}

void DimView::update(std::optional<QRectF> hole, double amount) {
  if (hole != hole_) {
    hole_ = hole;
    QWidget::update();
  }
  if (amount != amount_) {
    amount_ = amount;
    panel_.fade(amount, 0.45);
  }
}

void DimView::paintEvent(QPaintEvent*) {
  QPainter p(this);
  QPainterPath dim;
  dim.addRect(rect().adjusted(-4, -4, 4, 4));
  if (hole_) {
    QPainterPath hole;
    hole.addRect(*hole_);
    dim = dim.subtracted(hole);
  }
  p.fillPath(dim, Qt::black);
}

}  // namespace vorn
