// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/SoundServer.h"

namespace vorn {

// The sound server through PulseAudio's API (PipeWire's pulse server answers it too).
class PulseSoundServer : public SoundServer {
 public:
  std::vector<AudioSourceInfo> sources() override;
  std::optional<SoundServerInfo> serverInfo() override;
  int addSourceListener(SourceListener listener) override;
  void removeSourceListener(int token) override;
  std::unique_ptr<AudioInput> makeInput(SerialQueue& queue, AudioInput::BufferHandler onBuffer,
                                        AudioInput::ErrorHandler onError) override;
  std::unique_ptr<AudioOutput> openOutput(int sampleRate, int channels, std::string* error) override;
};

}  // namespace vorn
