// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/AudioBuffer.h"
#include "base/SerialQueue.h"
#include "capture/SoundServer.h"

#include <functional>
#include <mutex>

namespace vorn {

// What the computer plays, recorded from the default sink's monitor (48 kHz stereo float),
// each buffer stamped with the media time of its first sample. Shared by the screen
// backends, which switch it with their configuration.
class SystemAudioCapture {
 public:
  SystemAudioCapture(SoundServer& sound, std::function<void(AudioRef)> sink);
  ~SystemAudioCapture();
  SystemAudioCapture(const SystemAudioCapture&) = delete;
  SystemAudioCapture& operator=(const SystemAudioCapture&) = delete;

  // Opens or closes the stream. A stream that cannot be opened is logged once and the
  // recording goes on without system audio.
  void setEnabled(bool on);
  bool enabled() const;

 private:
  const std::function<void(AudioRef)> sink_;
  mutable std::mutex mutex_;  // serialises setEnabled; guards enabled_
  bool enabled_ = false;
  SerialQueue queue_{"vorn.system-audio"};
  std::unique_ptr<AudioInput> recorder_;  // after queue_: closes before the queue it delivers on goes
};

}  // namespace vorn
