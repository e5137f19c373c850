// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QUrl>

namespace vorn {

// The hidden movie of a take being recorded is this prefix and the take's file name, beside it.
inline const QString fragmentPrefix = QStringLiteral(".recording-");

// Where take files go: "Vorn" inside the user's Movies (Videos) folder.
namespace Takes {

// Creates the folder (with its parents) on every call; throws std::filesystem::filesystem_error
// when it cannot be created.
QUrl folder();
// Where the folder is, whether or not it exists yet.
QString folderPath();

// folder / "Vorn yyyy-MM-dd at HH.mm.ss.mp4" for the current local time. When that name, or
// the hidden ".recording-" file of a take still being written under it, is taken (by
// anything, a link included), a number follows the time (" 2", " 3"…). Only a proposal: the
// recorder claims the name, or the next free one when another take claimed it first.
QUrl nextURL();

}  // namespace Takes
}  // namespace vorn
