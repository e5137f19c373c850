// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/StatusText.h"

#include "model/Studio.h"

#include <cmath>

#include <QCoreApplication>

namespace vorn {

QString elapsedText(double seconds) {
  const long total = std::isfinite(seconds) && seconds > 0 ? long(seconds) : 0;
  const long hours = total / 3600, minutes = total / 60 % 60, secs = total % 60;
  if (hours > 0) return QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(secs, 2, 10, QLatin1Char('0'));
  return QStringLiteral("%1:%2").arg(minutes).arg(secs, 2, 10, QLatin1Char('0'));
}

QString compactStatus(const Studio& studio, double now) {
  switch (studio.phase()) {
    case Phase::countdown: return QCoreApplication::translate("StatusText", "in %1").arg(studio.countdown());
    case Phase::finishing: return QCoreApplication::translate("StatusText", "Saving");
    case Phase::recording:
      return studio.isPaused() ? QCoreApplication::translate("StatusText", "Paused") : elapsedText(studio.elapsed(now));
    default: return QCoreApplication::translate("StatusText", "Ready");
  }
}

}  // namespace vorn
