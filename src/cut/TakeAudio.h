// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct AVFormatContext;

namespace vorn::cut {

// The take's sound as speech recognisers want it: mono, 16-bit, 16 kHz.
struct Pcm {
  static constexpr int kRate = 16000;
  std::vector<std::int16_t> samples;

  double duration() const { return double(samples.size()) / kRate; }
};

// The index of the take's voice: its first sound track, which the studio writes from the
// microphone (the system audio comes after it, and by bit rate would pass for the "best"
// sound); -1 when the take has no sound.
int voiceStream(const AVFormatContext* input);

// Decodes the voice of `path`; throws CutError with a sentence when the file cannot be read or
// holds no sound.
Pcm decodeTakeAudio(const std::string& path);

// The length of the movie at `path` in seconds (its longest stream); throws CutError.
double takeDuration(const std::string& path);

}  // namespace vorn::cut
