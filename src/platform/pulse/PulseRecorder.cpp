// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/pulse/PulseRecorder.h"

#include <pulse/pulseaudio.h>

#include <cmath>

#include "base/Clock.h"
#include "base/Log.h"
#include "platform/pulse/PulseAudio.h"

namespace vorn {

struct PulseRecorderCallbacks {
  static void readable(pa_stream*, size_t, void* self) {
    static_cast<PulseRecorder*>(self)->read();
  }

  static void state(pa_stream* stream, void* self) {
    const pa_stream_state_t now = pa_stream_get_state(stream);
    auto* recorder = static_cast<PulseRecorder*>(self);
    if (now == PA_STREAM_FAILED || now == PA_STREAM_TERMINATED)
      recorder->streamFailed(pa_strerror(pa_context_errno(pa_stream_get_context(stream))));
    PulseContext::shared().signal();
  }
};

PulseRecorder::PulseRecorder(SerialQueue& queue, BufferHandler onBuffer, ErrorHandler onError)
    : queue_(queue), onBuffer_(std::move(onBuffer)), onError_(std::move(onError)) {}

PulseRecorder::~PulseRecorder() { close(); }

bool PulseRecorder::open(const AudioInputFormat& format, std::string* error) {
  close();
  auto fail = [&](const std::string& reason) {
    if (error) *error = "Couldn't record from " + format.source + ": " + reason + ".";
    return false;
  };
  if (format.channels < 1 || format.sampleRate < 8000 || format.bufferSeconds <= 0)
    return fail("unsupported format");
  PulseContext& pulse = PulseContext::shared();
  PulseLock lock(pulse.mainloop());
  pa_context* context = pulse.readyContext();
  if (!context) return fail("no PulseAudio server");

  const pa_sample_spec sampleFormat{PA_SAMPLE_FLOAT32LE, std::uint32_t(format.sampleRate),
                            std::uint8_t(format.channels)};
  pa_stream* stream = pa_stream_new(context, format.streamName.c_str(), &sampleFormat, nullptr);
  if (!stream) return fail(pa_strerror(pa_context_errno(context)));

  format_ = format;
  restartClock();
  ready_ = false;
  live_ = std::make_shared<std::atomic<bool>>(true);
  stream_ = stream;
  pa_stream_set_state_callback(stream, PulseRecorderCallbacks::state, this);
  pa_stream_set_read_callback(stream, PulseRecorderCallbacks::readable, this);

  const std::uint32_t fragmentBytes =
      std::uint32_t(std::lround(format.bufferSeconds * format.sampleRate)) * pa_frame_size(&sampleFormat);
  const pa_buffer_attr attributes{std::uint32_t(-1), std::uint32_t(-1), std::uint32_t(-1),
                                  std::uint32_t(-1), fragmentBytes};
  const auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY);
  bool ready = pa_stream_connect_record(stream, format.source.c_str(), &attributes, flags) >= 0;
  while (ready) {
    const pa_stream_state_t state = pa_stream_get_state(stream);
    if (state == PA_STREAM_READY) break;
    if (!PA_STREAM_IS_GOOD(state))
      ready = false;
    else
      pa_threaded_mainloop_wait(pulse.mainloop());
  }
  if (ready) {
    ready_ = true;
    return true;
  }
  const std::string reason = pa_strerror(pa_context_errno(context));
  live_->store(false);
  pa_stream_set_state_callback(stream, nullptr, nullptr);
  pa_stream_set_read_callback(stream, nullptr, nullptr);
  pa_stream_disconnect(stream);
  pa_stream_unref(stream);
  stream_ = nullptr;
  return fail(reason);
}

void PulseRecorder::close() {
  if (!stream_) return;
  live_->store(false);
  {
    PulseLock lock(PulseContext::shared().mainloop());
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
  }
  // A handler may be running right now: let it finish before the caller goes on.
  if (!queue_.isCurrent()) queue_.sync([] {});
}

void PulseRecorder::read() {
  const double arrival = mediaTime();
  const void* data = nullptr;
  size_t bytes = 0;
  std::int64_t frames = 0;  // since the last hole
  while (pa_stream_peek(stream_, &data, &bytes) == 0 && bytes > 0) {
    if (data) {
      pending_.insert(pending_.end(), static_cast<const float*>(data),
                      static_cast<const float*>(data) + bytes / sizeof(float));
      frames += std::int64_t(bytes / sizeof(float) / size_t(format_.channels));
    } else {
      restartClock();  // a hole: the stamps start again after it
      frames = 0;
    }
    pa_stream_drop(stream_);
  }
  if (frames > 0) clock_.arrived(arrival, frames);
  emitFull();
}

void PulseRecorder::restartClock() {
  pending_.clear();
  emitted_ = 0;
  clock_.reset(format_.sampleRate);
}

void PulseRecorder::emitFull() {
  const size_t frames = size_t(std::lround(format_.bufferSeconds * format_.sampleRate));
  const size_t values = frames * size_t(format_.channels);
  size_t used = 0;
  while (pending_.size() - used >= values) {
    auto buffer = std::make_shared<AudioBuffer>();
    buffer->samples.assign(pending_.begin() + std::ptrdiff_t(used),
                           pending_.begin() + std::ptrdiff_t(used + values));
    buffer->channels = format_.channels;
    buffer->sampleRate = format_.sampleRate;
    buffer->pts = clock_.timeOf(emitted_);
    emitted_ += std::int64_t(frames);
    used += values;
    queue_.async([live = live_, handler = onBuffer_, buffer = AudioRef(std::move(buffer))] {
      if (live->load() && handler) handler(buffer);
    });
  }
  pending_.erase(pending_.begin(), pending_.begin() + std::ptrdiff_t(used));
}

void PulseRecorder::streamFailed(const std::string& reason) {
  if (!ready_) return;  // open reports its own failure
  const std::string message = "Recording from " + format_.source + " stopped: " + reason + ".";
  queue_.async([live = live_, handler = onError_, message] {
    if (!live->load()) return;
    if (handler)
      handler(message);
    else
      logError(message);
  });
}

}  // namespace vorn
