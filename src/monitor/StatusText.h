// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vorn {

class Studio;

// A recording's elapsed time as the studio shows it: "m:ss", or "h:mm:ss" past an hour.
QString elapsedText(double seconds);
// The compact bar's one-word status by phase: "in 3", "Saving", "Paused", the time, "Ready".
QString compactStatus(const Studio& studio, double now);

}  // namespace vorn
