// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/TakeAudio.h"
#include "cut/Words.h"

#include <vector>

namespace vorn::cut {

// Where the take is loud enough to be speech, from its energy in 10 ms frames against the
// take's own noise floor. Stretches closer than `bridge` seconds are joined; blips shorter
// than 0.15 s are dropped.
std::vector<Span> findSpeech(const Pcm& pcm, double bridge = 0.3);

// Groups speech into chunks a recogniser decodes well: a chunk ends at a pause of at least
// `pause` seconds, and one longer than `longest` seconds is split at its widest inner gap.
// Each chunk keeps a little of the quiet around it.
std::vector<Span> chunksForListening(const std::vector<Span>& speech, double takeLength,
                                     double pause = 0.5, double longest = 15);
// The chunks as a search for words known to be said gets them: each reaching up to 0.2 s
// further into the quiet after it, never past halfway to the next. A last word's soft end
// can sink under a loud noise, and a search that hears the speech end inside the last word
// of what it expects finds no way through.
std::vector<Span> withRoomAfter(std::vector<Span> chunks, double takeLength);

}  // namespace vorn::cut
