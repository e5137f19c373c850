// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/AudioOutput.h"

#include <memory>
#include <string>

struct pa_simple;

namespace vorn {

// A playback stream on the default sink with a 100 ms buffer, so that stopping is prompt.
class PulsePlayback : public AudioOutput {
 public:
  // Null, with one sentence in `error`, when the server does not take the stream.
  static std::unique_ptr<PulsePlayback> open(int sampleRate, int channels, std::string* error);
  ~PulsePlayback() override;

  void write(const float* samples, int frames) override;
  double latency() override;
  void flush() override;

 private:
  PulsePlayback(pa_simple* stream, int channels) : stream_(stream), channels_(channels) {}

  pa_simple* stream_;
  int channels_;
};

}  // namespace vorn
