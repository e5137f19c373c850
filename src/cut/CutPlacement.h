// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/PictureGrid.h"
#include "cut/Story.h"

namespace vorn::cut {

// Moves every edge of the story's segments into the quiet between two words: an edge inside a
// word goes to the gap before it (a start) or after it (an end), so the word stays whole;
// within the gap (an end not in its first tenth of a second, where a last stop is released),
// the edge goes to the picture start where the sound is quietest, the one nearest the planned
// edge among equals, a pause's steady noise counting as equally quiet throughout. Segments
// left shorter than two pictures are dropped, ones that meet or leave less than a fifth of a
// second out between them are joined, and the story keeps only the words its segments still
// hold. Over a noise the voice does not stand clear of, an end goes `kUnderNoiseTailSeconds`
// into the pause after its last word (or halfway through a shorter one): a word's fading end
// lies under the noise there, free recognition ends words early or misses a last one, and the
// whole pause sounds alike.
void placeCuts(Story& story, const Transcript& transcript, const PictureGrid& grid);

inline constexpr double kUnderNoiseTailSeconds = 0.5;

}  // namespace vorn::cut
