// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/StudioRequest.h"

namespace vorn {

// `vorn` without a command: the studio with its tray menu, hot key and bus service; or, where
// a studio already runs, `request` passed on to it.
int runStudio(int argc, char** argv, StudioRequest request);

}  // namespace vorn
