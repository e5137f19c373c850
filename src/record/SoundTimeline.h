// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

namespace vorn {

// Where each buffer of a track goes on the track's sample timeline, from the written time it
// was stamped with. A jump of a tenth of a second or more (a lost stretch of sound, the edge of
// a pause) is placed exactly: silence fills a gap, an overlap is cut. Anything smaller is the
// stamps' jitter (tens of milliseconds on a busy machine) or the sound card's clock drifting
// from the host's: buffers are joined without a seam and the track is steered toward the
// stamps' running mean by stretching buffers by a few samples, a pitch change nobody hears,
// so no silence or cut ever enters the sound for it.
class SoundTimeline {
 public:
  struct Placement {
    std::int64_t silence = 0;  // frames of silence before the buffer
    int skip = 0;              // frames cut from the buffer's start
    int stretch = 0;           // frames added to (or, negative, taken from) what is kept
  };

  // For a buffer of `frames` stamped at frame `at`, where the track has reached `expected`.
  Placement place(std::int64_t at, std::int64_t expected, int frames);

  // `frames` interleaved frames resampled to `frames + stretch` (linear interpolation).
  static std::vector<float> stretched(const float* interleaved, int frames, int channels, int stretch);

 private:
  bool placedAny_ = false;  // the first buffer goes exactly where it was stamped
  double offset_ = 0;       // running mean of (stamped − expected), in frames
};

}  // namespace vorn
