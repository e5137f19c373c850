// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/pulse/PulsePlayback.h"

#include <pulse/error.h>
#include <pulse/simple.h>

#include <stdexcept>

namespace vorn {

std::unique_ptr<PulsePlayback> PulsePlayback::open(int sampleRate, int channels, std::string* error) {
  const pa_sample_spec format{PA_SAMPLE_FLOAT32LE, uint32_t(sampleRate), uint8_t(channels)};
  pa_buffer_attr attr{};
  attr.maxlength = uint32_t(-1);
  attr.tlength = uint32_t(pa_usec_to_bytes(100'000, &format));
  attr.prebuf = uint32_t(-1);
  attr.minreq = uint32_t(-1);
  attr.fragsize = uint32_t(-1);
  int code = 0;
  pa_simple* stream = pa_simple_new(nullptr, "Vorn", PA_STREAM_PLAYBACK, nullptr, "Take", &format,
                                    nullptr, &attr, &code);
  if (!stream) {
    if (error) *error = pa_strerror(code);
    return nullptr;
  }
  return std::unique_ptr<PulsePlayback>(new PulsePlayback(stream, channels));
}

PulsePlayback::~PulsePlayback() { pa_simple_free(stream_); }

void PulsePlayback::write(const float* samples, int frames) {
  int code = 0;
  if (pa_simple_write(stream_, samples, size_t(frames) * size_t(channels_) * sizeof(float), &code) < 0)
    throw std::runtime_error(std::string("the sound server stopped playing: ") + pa_strerror(code));
}

double PulsePlayback::latency() {
  int code = 0;
  const pa_usec_t latency = pa_simple_get_latency(stream_, &code);
  return latency == pa_usec_t(-1) ? 0.0 : double(latency) / 1e6;
}

void PulsePlayback::flush() { pa_simple_flush(stream_, nullptr); }

}  // namespace vorn
