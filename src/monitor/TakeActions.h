// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>

#include <functional>

namespace vorn::TakeActions {

// Opens the desktop's file manager on the file's folder with the file selected (the
// freedesktop FileManager1 service), or just the folder where no such service answers. When
// nothing can open the folder either, calls `unavailable` (while `context` lives).
void showInFiles(const QString& path, QObject* context, std::function<void()> unavailable);

// Puts the file on the clipboard as a file, the way file managers do, so that it can be
// pasted into an upload box or a folder.
void copyFile(const QString& path);

}  // namespace vorn::TakeActions
