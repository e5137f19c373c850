// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/TakeAudio.h"

namespace vorn::cut {

// How flat the spectrum of the take's quiet is, from 0 (tones: a music bed) to 1 (white noise);
// a fan or a hissing microphone is broad, about 0.7. The median over the quietest 30 % of its
// 32 ms windows; 0 where that quiet is digital silence.
double noiseFlatness(const Pcm& pcm);

}  // namespace vorn::cut
