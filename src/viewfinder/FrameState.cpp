// SPDX-License-Identifier: GPL-3.0-or-later
#include "viewfinder/FrameState.h"

#include "model/PlatformInsets.h"

#include "model/Prefs.h"
#include "model/Geometry.h"

#include <cmath>

#include <QCoreApplication>

namespace vorn::FrameReadout {
namespace {

constexpr double kPhoneShare = 402.0 / 1080.0;  // a phone 402 points wide showing 1080 pixels
constexpr double kScreenText = 14;

}  // namespace

double points(double liveWidth, double screenSlotWidth) {
  if (liveWidth <= 0) return 0;
  return std::round(2 * (screenSlotWidth / liveWidth) * kScreenText * kPhoneShare) / 2;
}

Verdict verdict(double points) {
  if (points >= 11) return Verdict::crisp;
  if (points >= 8.5) return Verdict::readable;
  return Verdict::tooSmall;
}

QString readability(double points) {
  static const char* const names[] = {QT_TRANSLATE_NOOP("FrameView", "Crisp"),
                                      QT_TRANSLATE_NOOP("FrameView", "Readable"),
                                      QT_TRANSLATE_NOOP("FrameView", "Too small")};
  return QCoreApplication::translate("FrameView", "Text %1 pt on phone  ·  %2")
      .arg(long(points))
      .arg(QCoreApplication::translate("FrameView", names[int(verdict(points))]));
}

double pulse(double pulseUntil, double now) {
  return std::round(10 * std::max(0.0, (pulseUntil - now) / 0.9)) / 10;
}

std::optional<std::vector<double>> safeFractions(const Prefs& prefs) {
  if (prefs.layout != Layout::screen || prefs.style != FrameStyle::bleed) return std::nullopt;
  const std::optional<PlatformInsets> insets = platformInsets(prefs.platform);
  if (!insets) return std::nullopt;
  return std::vector<double>{insets->top / Geometry::canvasHeight, insets->bottom / Geometry::canvasHeight,
                             insets->right / Geometry::canvasWidth};
}

std::optional<double> idealRatio(double idealHeight, double liveHeight) {
  if (liveHeight <= 0) return std::nullopt;
  return std::round(100 * idealHeight / liveHeight) / 100;
}

}  // namespace vorn::FrameReadout
