// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vorn {

// The folder where the reel engine works on the reel at `reel` (an absolute path) and leaves
// the words it heard and the captions: cache, not files for the reels folder. It lies in
// "$XDG_CACHE_HOME/vorn/reels" (~/.cache without the variable), named after the reel and a
// digest of its path, so that reels of one name in two folders never share one.
QString reelWorkFolder(const QString& reel);

// The prompter's script as it stood when the take of the reel at `reel` ended, saved beside its
// work folder: the reel is cut with it however the script is edited before the run begins. An
// empty file means there was none.
QString reelScriptFile(const QString& reel);

}  // namespace vorn
