// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/StudioRequest.h"

namespace vorn {

// Passes `request` to the studio that owns the bus name; returns the process's exit code
// (1, with one sentence on standard error, when that studio does not answer).
int askRunningStudio(StudioRequest request);

}  // namespace vorn
