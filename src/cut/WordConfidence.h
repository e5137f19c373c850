// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/SoundLevels.h"
#include "cut/Words.h"

#include <vector>

namespace vorn::cut {

// How sure each script word laid on the take is of its place, from what backs it up: a word
// free recognition heard as written at about the same time is an anchor (sure); one between
// anchors is as sure as the share of anchors around it; one whose sound never rises over the
// take's steady noise lies on silence and was not heard at all. `heard` is what free
// recognition heard over the whole take.
void rateScriptWords(std::vector<Word>& placed, const std::vector<Word>& heard,
                     const SoundLevels& levels);

// Whether the sound under a word never rises over the take's steady noise: it was not said
// there.
bool liesOnSilence(const Word& word, const SoundLevels& levels);

}  // namespace vorn::cut
