// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>

#include <string>

namespace vorn {

// The files and folders Vorn makes for the user: always new (a name already there, a link
// included, is never written through), readable by the user alone from the first byte.
namespace OwnFiles {

// Creates `path` for writing and returns its descriptor; -1 with errno set (EEXIST when the
// name is taken by anything).
int create(const std::string& path);
// Opens `file` for writing on a new file `path`, as `create` makes it; false when it can't be.
bool create(QFile& file, const std::string& path);
// Creates the folder `path` (not its parents); false with errno set (EEXIST when taken).
bool createFolder(const std::string& path);
// Makes `path` with its missing parents, if need be, and leaves it the user's alone.
void makePrivateFolder(const QString& path);
// Whether anything has that name: a file, a folder, a link (even one pointing nowhere).
bool taken(const std::string& path);

}  // namespace OwnFiles
}  // namespace vorn
