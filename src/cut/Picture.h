// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace vorn::cut {

// Copies the opening `seconds` of the reel's picture, without sound and without
// re-encoding, into its own MP4: the moving cover a player shows before the reel is opened.
void writePicture(const std::string& reel, const std::string& out, double seconds = 3);

}  // namespace vorn::cut
