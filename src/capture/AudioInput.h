// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/AudioBuffer.h"

#include <functional>
#include <string>

namespace vorn {

// What to record. The source is a source name from SoundServer::sources(), or one of two
// aliases every sound server answers to: "@DEFAULT_SOURCE@" (the default microphone) and
// "@DEFAULT_MONITOR@" (what the default output plays).
struct AudioInputFormat {
  std::string source = "@DEFAULT_SOURCE@";
  int channels = 1;
  int sampleRate = 48000;
  double bufferSeconds = 0.01;
  std::string streamName = "Vorn";

  static AudioInputFormat microphone(std::string source) {
    return {std::move(source), 1, 48000, 0.01, "Vorn microphone"};
  }
  static AudioInputFormat systemAudio() {
    return {"@DEFAULT_MONITOR@", 2, 48000, 0.01, "Vorn system audio"};
  }
};

// One recording stream of interleaved 32-bit float, the microphone and the system audio
// alike. Buffers of bufferSeconds each reach the handler on the queue it was made with,
// stamped with the media time of their first sample.
class AudioInput {
 public:
  using BufferHandler = std::function<void(AudioRef)>;
  using ErrorHandler = std::function<void(const std::string&)>;

  virtual ~AudioInput() = default;
  // Connects the stream; false, with one sentence in `error`, when it can't be recorded.
  virtual bool open(const AudioInputFormat& format, std::string* error = nullptr) = 0;
  // Ends the stream; no handler runs after this returns.
  virtual void close() = 0;
  virtual bool isOpen() const = 0;
};

}  // namespace vorn
