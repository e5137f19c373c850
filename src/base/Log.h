// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace vorn {

// True when VORN_DEBUG is present in the environment (any value); read once.
bool debugEnabled();

// Writes one whole line to standard error, never interleaved with another thread's line.
void logLine(std::string_view line);

// "Vorn: " + message, the form of every diagnostic the user may need.
void logError(std::string_view message);

// Writes the line only when debugging is on.
void debugLine(std::string_view line);

}  // namespace vorn
