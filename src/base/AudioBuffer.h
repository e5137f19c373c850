// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <vector>

namespace vorn {

// One buffer of captured sound: interleaved 32-bit float samples, stamped with the media
// time (monotonic host clock) of its first sample.
struct AudioBuffer {
  std::vector<float> samples;
  int channels = 1;
  int sampleRate = 48000;
  double pts = 0;

  int frameCount() const { return channels > 0 ? static_cast<int>(samples.size()) / channels : 0; }
  double duration() const { return sampleRate > 0 ? double(frameCount()) / sampleRate : 0; }
};

using AudioRef = std::shared_ptr<const AudioBuffer>;

}  // namespace vorn
