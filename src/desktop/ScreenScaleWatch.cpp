// SPDX-License-Identifier: GPL-3.0-or-later
#include "desktop/ScreenScaleWatch.h"

#include "capture/ScreenScale.h"

#include <QGuiApplication>
#include <QScreen>

namespace vorn {

ScreenScaleWatch::ScreenScaleWatch() {
  for (QScreen* screen : QGuiApplication::screens()) watch(screen);
  connect(qApp, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
    watch(screen);
    publish();
  });
  connect(qApp, &QGuiApplication::screenRemoved, this, &ScreenScaleWatch::publish);
  publish();
}

void ScreenScaleWatch::watch(QScreen* screen) {
  connect(screen, &QScreen::geometryChanged, this, &ScreenScaleWatch::publish);
  connect(screen, &QScreen::logicalDotsPerInchChanged, this, &ScreenScaleWatch::publish);
}

void ScreenScaleWatch::publish() {
  std::vector<ScreenScale::Display> displays;
  for (QScreen* screen : QGuiApplication::screens()) {
    const QRect g = screen->geometry();
    displays.push_back({{double(g.x()), double(g.y()), double(g.width()), double(g.height())},
                        screen->devicePixelRatio()});
  }
  ScreenScale::publish(std::move(displays));
}

}  // namespace vorn
