// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Story.h"

#include <string>

namespace vorn::cut {

// What claude is asked: the timed transcript a sentence a line (the hook, the punchline and
// the asides marked), the budget and the theme, and the one JSON shape to answer in.
std::string storyPrompt(const Transcript& transcript, const std::string& theme, Budget budget);

// The story in claude's answer, checked strictly: one JSON object with exactly "segments"
// (ordered, non-overlapping {"start","end"} seconds inside the take, within the budget),
// "headline" (one to three short lines) and "caption" (a non-empty string). Segments are
// snapped to the words they hold, so no cut falls inside a word; the hook and the punchline
// are kept whole and the asides left out whatever the answer says. Throws CutError saying
// what is wrong.
Story claudeStory(const std::string& answer, const Transcript& transcript, Budget budget);

}  // namespace vorn::cut
