// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Options.h"
#include "cut/Report.h"

namespace vorn::cut {

// One run of `vorncut promo`: listens to the take, finds its story, renders the reel and its
// companion files, telling `report` each step. Returns the exit status: 0 with a reel, 1
// after an "error" message.
int promo(const Options& options, Report& report);

}  // namespace vorn::cut
