// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace vorn::cut {

// On SIGTERM, SIGINT or SIGHUP: unlink `paths` (the drafts in progress), then die of that
// same signal, so whoever stopped the run sees it killed and finds no partial files.
void removeOnTermination(const std::vector<std::string>& paths);

}  // namespace vorn::cut
