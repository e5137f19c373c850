// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vorn {

// Moves `path` to the user's trash; false when it can't be. Qt 6.4 puts the file into
// "files/" under the working folder when the data folder (~/.local/share) does not exist yet:
// the folder is made first, so a take never lands beside the studio's working folder.
bool moveToTrash(const QString& path);

}  // namespace vorn
