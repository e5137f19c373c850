// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/AudioInput.h"
#include "capture/AudioOutput.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

class SerialQueue;

// One source of sound (a microphone, or the monitor of an output) as the server describes it.
struct AudioSourceInfo {
  std::uint32_t index = 0;
  std::string name;
  std::string description;
  bool isMonitor = false;
  std::string bus;         // "bluetooth", "usb", "pci"…
  std::string formFactor;  // "internal", "headset", "webcam"…

  bool isBluetooth() const { return bus == "bluetooth"; }
  bool isBuiltIn() const { return formFactor == "internal" || bus == "pci"; }
  bool operator==(const AudioSourceInfo&) const = default;
};

struct SoundServerInfo {
  std::string defaultSource;
  std::string defaultSink;
  std::string defaultSinkMonitor;  // the source that records what the default output plays
};

enum class AudioSourceEvent { added, removed };

// The sound server of the session: its sources and their comings and goings, recording
// streams and playback. Every call may be made from any thread.
class SoundServer {
 public:
  using SourceListener = std::function<void(AudioSourceEvent, const AudioSourceInfo&)>;

  virtual ~SoundServer() = default;

  // Every source, monitors included, in the server's order; empty without a server.
  virtual std::vector<AudioSourceInfo> sources() = 0;
  virtual std::optional<SoundServerInfo> serverInfo() = 0;
  // Sources appearing and disappearing, on a thread of the server's (never while a lock of
  // its is held). The token removes the listener again; once removeSourceListener returns,
  // the listener is no longer called.
  virtual int addSourceListener(SourceListener listener) = 0;
  virtual void removeSourceListener(int token) = 0;

  // A recording stream whose handlers run on `queue`, which must outlive it. Without an
  // error handler a stream that stops is logged.
  virtual std::unique_ptr<AudioInput> makeInput(SerialQueue& queue, AudioInput::BufferHandler onBuffer,
                                                AudioInput::ErrorHandler onError = {}) = 0;
  // A playback stream of `channels` at `sampleRate`; null, with one sentence in `error`, when
  // nothing can be played.
  virtual std::unique_ptr<AudioOutput> openOutput(int sampleRate, int channels, std::string* error) = 0;
};

}  // namespace vorn
