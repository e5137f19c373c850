// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/DragStart.h"

#include <QApplication>

namespace vorn {

bool pastDragDistance(QPointF from, QPointF to) {
  return (to - from).manhattanLength() >= QApplication::startDragDistance();
}

}  // namespace vorn
