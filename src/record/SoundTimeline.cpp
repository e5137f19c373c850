// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/SoundTimeline.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vorn {
namespace {

constexpr int rate = 48000;
// A jump this large is a real gap or overlap, placed at once.
constexpr std::int64_t jumpFrames = rate / 10;
// Weight of each new buffer in the running mean of the offsets (about 30 buffers).
constexpr double smoothing = 1.0 / 32;
// The track follows the mean only once it is this far off: a third of a frame at 60 fps.
constexpr double deadband = rate * 0.005;
// A frame per buffer for each 10 ms off, at most this many: the pitch bends by under 1 % for a
// 10 ms buffer, and a track 40 ms off is back within a frame in about two seconds.
constexpr int maxStretch = 4;

}  // namespace

SoundTimeline::Placement SoundTimeline::place(std::int64_t at, std::int64_t expected, int frames) {
  Placement placement;
  const std::int64_t off = at - expected;
  if (!placedAny_ || std::abs(off) >= jumpFrames) {
    placedAny_ = true;
    offset_ = 0;
    if (off > 0) placement.silence = off;
    else placement.skip = int(std::min<std::int64_t>(-off, frames));
    return placement;
  }
  offset_ += (double(off) - offset_) * smoothing;
  if (std::abs(offset_) > deadband && frames > 4 * maxStretch) {
    const int step = int(std::clamp(std::abs(offset_) / (rate * 0.01), 1.0, double(maxStretch)));
    placement.stretch = offset_ > 0 ? step : -step;
    offset_ -= placement.stretch;
  }
  return placement;
}

std::vector<float> SoundTimeline::stretched(const float* interleaved, int frames, int channels, int stretch) {
  const int out = frames + stretch;
  std::vector<float> result(std::size_t(std::max(out, 0)) * std::size_t(channels));
  if (out <= 0 || frames <= 0) return result;
  // The first and last frames stay where they are, so the buffer joins its neighbours.
  const double step = out > 1 ? double(frames - 1) / double(out - 1) : 0.0;
  for (int i = 0; i < out; ++i) {
    const double position = i * step;
    const int left = std::min(int(position), frames - 1);
    const int right = std::min(left + 1, frames - 1);
    const float weight = float(position - left);
    for (int c = 0; c < channels; ++c) {
      const float a = interleaved[left * channels + c], b = interleaved[right * channels + c];
      result[std::size_t(i) * channels + c] = a + (b - a) * weight;
    }
  }
  return result;
}

}  // namespace vorn
