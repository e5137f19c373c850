// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Story.h"

#include <array>
#include <optional>
#include <string>

namespace vorn::cut {

// Where a moment of the take lands in the reel (the segments played back to back); a
// moment in no segment lands at the end of the segment before it.
double reelTime(const std::vector<Span>& segments, double takeTime);

// The camera's place in the 1080 × 1920 frame as fractions (x, y, width, height).
using CameraPlace = std::optional<std::array<double, 4>>;

// The reel's captions as an ASS script for libass: the headline at the top for the first
// seconds, then the spoken words a few at a time below the middle of the frame, the word being
// said highlighted; words heard without confidence are left out. Everything stays inside the
// zone no platform's buttons cover, and the words keep off the camera when its place is known.
// Burned in, a caption shows from the first picture at or after its start: each word is lit
// half a picture (`pictureSeconds` apart) early, so it changes on the picture nearest its sound.
std::string captionScript(const Story& story, const CameraPlace& camera = std::nullopt,
                          double pictureSeconds = 0);

}  // namespace vorn::cut
