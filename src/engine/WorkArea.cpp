// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/WorkArea.h"

#include <QGuiApplication>
#include <QScreen>

namespace vorn {

Rect workAreaOf(const DisplayInfo& display) {
  const Rect& whole = display.rect;
  if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return whole;
  const QScreen* screen = QGuiApplication::screenAt(QPoint(int(whole.midX()), int(whole.midY())));
  if (!screen) return whole;
  const QRect free = screen->availableGeometry();
  const Rect inside =
      Rect{double(free.x()), double(free.y()), double(free.width()), double(free.height())}.intersected(whole);
  return inside.isEmpty() ? whole : inside;
}

}  // namespace vorn
