// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Story.h"

namespace vorn::cut {

// `text` as the reel may show it: line breaks made spaces, other control characters left out
// (a NUL ends the subtitle file early, a line break starts a line of its own there), and at
// most two combining marks on a character (more pile up into a band of noise).
std::string displayable(const std::string& text);

// Words joined into a sentence: first letter capitalised, a question mark after a question.
std::string sentenceText(const std::vector<Word>& words);

// Fills the story's headline (the theme, or the hook, in two short lines), its caption (the
// hook and a few hashtags from the take's strongest words), its flags and its brand line.
void writeStoryText(Story& story, const std::vector<Word>& hook, const std::string& theme,
                    const Transcript& transcript, Budget budget);

}  // namespace vorn::cut
