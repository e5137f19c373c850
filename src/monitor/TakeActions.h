#pragma once

#include <QString>

namespace vorn::TakeActions {

// Opens the desktop's file manager on the file's folder with the file selected (the
// freedesktop FileManager1 service), or just the folder where no such service answers.
void showInFiles(const QString& path);

// Puts the file on the clipboard as a file, the way file managers do, so that it can be
// pasted into an upload box or a folder.
void copyFile(const QString& path);

}  // namespace vorn::TakeActions
