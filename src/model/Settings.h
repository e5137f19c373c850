#pragma once

#include <QSettings>

namespace vorn {

// The per-user key-value store: "prefs" holds the JSON record, "learnedFrame" and
// "welcomed" the studio's two flags.
inline QSettings userSettings() { return QSettings(QStringLiteral("Vorn"), QStringLiteral("Vorn")); }

}  // namespace vorn
