// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/FaceFinish.h"
#include "cut/Words.h"

#include <functional>
#include <string>
#include <vector>

namespace vorn::cut {

// One reel to render from a take.
struct RenderJob {
  std::string take;
  std::vector<Span> segments;
  FaceFinish finish;
  // The ASS captions to burn in.
  std::string captions;
  // Where the reel and its cover go (temporary names: the caller renames them when done).
  std::string reel;
  std::string cover;
  // The moment of the reel that becomes its cover.
  double coverTime = 0;
  // Called with 0…1 as the reel is encoded.
  std::function<void(double)> progress;
  // What the sound is raised by to reach the platforms' loudness.
  double gainDb = 0;
};

// Cuts, fills, captions and encodes the reel, and saves its cover as JPEG. Returns the
// reel's length in seconds. Throws CutError with a sentence.
double renderReel(const RenderJob& job);

}  // namespace vorn::cut
