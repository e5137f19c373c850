// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/SoundLevels.h"
#include "cut/TakeAudio.h"

namespace vorn::cut {

// The take's sound as the recogniser should hear it. Where the voice stands less than 25 dB
// above the take's steady noise (a fan, traffic, a hissing microphone), the noise drowns the
// quieter sounds of speech and the recogniser loses its place even in a known script: then
// FFmpeg's afftdn takes the noise down, starting from the take's own noise floor and
// following it as it changes. Otherwise the sound as it is. Either way as long as the take's;
// the cleaned sound comes `late` (what is heard in it at t was said at t − late). Throws
// CutError when FFmpeg lacks the filter.
struct Listening {
  Pcm pcm;
  double late = 0;
};
Listening forListening(const Pcm& pcm, const SoundLevels& levels);

// The sound listened to, moved back to the take's own times.
Pcm onTime(const Listening& listening);

// Whether the voice stands 25 dB or more above the take's steady noise.
bool voiceStandsClear(const SoundLevels& levels);

}  // namespace vorn::cut
