#pragma once

#include <string>

namespace vorn {

// The files Vorn makes for the user: always new (a name already there, a link
// included, is never written through), readable by the user alone from the first byte.
namespace OwnFiles {

// Creates `path` for writing and returns its descriptor; -1 with errno set (EEXIST when the
// name is taken by anything).
int create(const std::string& path);
// Whether anything has that name: a file, a folder, a link (even one pointing nowhere).
bool taken(const std::string& path);

}  // namespace OwnFiles
}  // namespace vorn
