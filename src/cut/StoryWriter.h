#pragma once

#include "cut/Options.h"
#include "cut/Story.h"

namespace vorn::cut {

// The story of the take as the chosen writer tells it (`--brain`).
Story writeStory(const Options& options, const Transcript& transcript);

}  // namespace vorn::cut
