// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vorn {

// A stream of interleaved 32-bit float to the default output, for playing a take back. Its
// writes block while its short buffer is full, so the sound paces whoever feeds it.
class AudioOutput {
 public:
  virtual ~AudioOutput() = default;
  // Queues `frames` frames; throws std::runtime_error with one sentence when the sound
  // server stops playing.
  virtual void write(const float* samples, int frames) = 0;
  // Seconds between the last frame written and the one heard now.
  virtual double latency() = 0;
  // Drops what is queued and not yet heard.
  virtual void flush() = 0;
};

}  // namespace vorn
