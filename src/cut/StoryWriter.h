// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Options.h"
#include "cut/Story.h"

namespace vorn::cut {

// The story of the take as the chosen writer tells it (`--brain`): with "claude", the claude
// tool's answer when it is installed, answers in time and passes every check; otherwise,
// and with "device", the story this computer finds on its own. Why claude's story was not
// used is one line on standard error.
Story writeStory(const Options& options, const Transcript& transcript);

}  // namespace vorn::cut
