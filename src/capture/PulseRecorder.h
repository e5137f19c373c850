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
#include "capture/StreamClock.h"

struct pa_stream;

namespace vorn {

// What to record. The source is a source name from PulseContext::sources(), or one of the
// server's aliases: "@DEFAULT_SOURCE@" (the default microphone) or "@DEFAULT_MONITOR@" (what
// the default sink plays).
struct PulseRecordFormat {
  std::string source = "@DEFAULT_SOURCE@";
  int channels = 1;
  int sampleRate = 48000;
  double bufferSeconds = 0.01;
  std::string streamName = "Vorn";

  static PulseRecordFormat microphone(std::string source) {
    return {std::move(source), 1, 48000, 0.01, "Vorn microphone"};
  }
  static PulseRecordFormat systemAudio() {
    return {"@DEFAULT_MONITOR@", 2, 48000, 0.01, "Vorn system audio"};
  }
};

// One PulseAudio record stream of interleaved 32-bit float. Buffers of bufferSeconds each
// reach the handler on the given queue, stamped with the media time of their first sample:
// the sample count from the stream's start, which is measured from the arrivals of the last
// seconds, so that the stamps advance steadily and no sample is stamped after it arrived.
class PulseRecorder {
 public:
  using BufferHandler = std::function<void(AudioRef)>;
  using ErrorHandler = std::function<void(const std::string&)>;

  // Handlers run on `queue`, which must outlive this recorder. Without an error handler a
  // stream that stops is logged.
  PulseRecorder(SerialQueue& queue, BufferHandler onBuffer, ErrorHandler onError = {});
  ~PulseRecorder();
  PulseRecorder(const PulseRecorder&) = delete;
  PulseRecorder& operator=(const PulseRecorder&) = delete;

  // Connects the stream; false, with one sentence in `error`, when it can't be recorded.
  bool open(const PulseRecordFormat& format, std::string* error = nullptr);
  // Ends the stream; no handler runs after this returns.
  void close();
  bool isOpen() const { return stream_ != nullptr; }

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
  PulseRecordFormat format_;
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
