// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>

#include <functional>

namespace vorn::PhoneShare {

// Hands a file to the first paired, reachable phone through KDE Connect (`kdeconnect-cli`
// on the PATH). `done` runs once on the GUI thread: true when the file was handed over,
// false when the tool is missing, no phone is available or the transfer was refused. The
// helper processes belong to `context` and die with it.
void send(const QString& path, QObject* context, std::function<void(bool sent)> done);

}  // namespace vorn::PhoneShare
