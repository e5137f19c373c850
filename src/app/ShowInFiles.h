// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vorn {

// Opens the file manager on the folder of `file` with the file selected
// (org.freedesktop.FileManager1), or just on the folder where no file manager offers that.
void showInFiles(const QString& file);

}  // namespace vorn
