// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/MonitorLayout.h"

#include "monitor/PhoneView.h"

#include <algorithm>
#include <cmath>

namespace vorn::MonitorLayout {

int height(double phoneScale) {
  return titleHeight + int(std::lround(PhoneView::bodySize.height() * phoneScale)) + gap + underHeight + margin;
}

Places arrange(QSize size) {
  const double room = size.height() - height(0);
  const double scale = std::clamp(room / PhoneView::bodySize.height(), smallestPhone, 1.0);
  const QSize phone = (QSizeF(PhoneView::bodySize) * scale).toSize();
  const int under = titleHeight + phone.height() + gap;
  const int underWidth = PhoneView::bodySize.width();
  return {scale, QPoint((size.width() - phone.width()) / 2, titleHeight),
          QRect((size.width() - underWidth) / 2, under, underWidth, underHeight)};
}

}  // namespace vorn::MonitorLayout
