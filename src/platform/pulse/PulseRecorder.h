// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/AudioBuffer.h"
#include "base/SerialQueue.h"
#include "capture/AudioInput.h"
#include "capture/StreamClock.h"

struct pa_stream;

namespace vorn {

// One PulseAudio record stream. Its stamps are the sample count from the stream's start,
// which is measured from the arrivals of the last seconds, so that the stamps advance
// steadily and no sample is stamped after it arrived.
class PulseRecorder : public AudioInput {
 public:
  PulseRecorder(SerialQueue& queue, BufferHandler onBuffer, ErrorHandler onError = {});
  ~PulseRecorder() override;
  PulseRecorder(const PulseRecorder&) = delete;
  PulseRecorder& operator=(const PulseRecorder&) = delete;

  bool open(const AudioInputFormat& format, std::string* error = nullptr) override;
  void close() override;
  bool isOpen() const override { return stream_ != nullptr; }

 private:
  friend struct PulseRecorderCallbacks;
  void read();                                   // mainloop thread
  void restartClock();                           // mainloop thread
  void emitFull();                               // mainloop thread
  void streamFailed(const std::string& reason);  // mainloop thread

  SerialQueue& queue_;
  const BufferHandler onBuffer_;
  const ErrorHandler onError_;
  // Set by open and close under the mainloop lock; read by the mainloop thread.
  pa_stream* stream_ = nullptr;
  AudioInputFormat format_;
  // Cleared by close: tasks already queued for the handlers are skipped.
  std::shared_ptr<std::atomic<bool>> live_;
  // Mainloop thread only (reset by open under the lock): samples not yet sent; frames sent
  // since the clock started; when they were captured.
  std::vector<float> pending_;
  std::int64_t emitted_ = 0;
  StreamClock clock_;
  // Guarded by the mainloop lock: the stream reached the ready state.
  bool ready_ = false;
};

}  // namespace vorn
