// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Listen.h"

#include <vector>

namespace vorn::cut {

// Which of the words a creator would cut from their talk: fillers ("um", "you know",
// "okay, where was I", "like" said on its own) and the first tries of a phrase said again at
// once ("so the… so the first thing"). A filler goes only where the sound falls quiet on both
// sides of it, so the words around it stay whole: one heard inside running speech is more
// likely a misheard piece of a real word. Over a broad noise the voice does not stand clear of
// (not a music bed), no filler goes: what is heard there as one is a guess.
std::vector<bool> clutterIn(const Transcript& transcript);

}  // namespace vorn::cut
