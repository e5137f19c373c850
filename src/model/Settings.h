// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QSettings>
#include <QString>

namespace vorn {

// The per-user key-value store: "prefs" holds the JSON record, "learnedFrame" and
// "welcomed" the studio's two flags.
inline QSettings userSettings() { return QSettings(QStringLiteral("Vorn"), QStringLiteral("Vorn")); }

// The sentence that says why the store's file can't be read: anything but a regular file (a
// FIFO would hold the first read forever). "" when it can be, or doesn't exist yet.
QString settingsFileProblem();

}  // namespace vorn
