// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/pulse/PulseSoundServer.h"

#include "platform/pulse/PulseAudio.h"
#include "platform/pulse/PulsePlayback.h"
#include "platform/pulse/PulseRecorder.h"

namespace vorn {

std::vector<AudioSourceInfo> PulseSoundServer::sources() { return PulseContext::shared().sources(); }

std::optional<SoundServerInfo> PulseSoundServer::serverInfo() {
  return PulseContext::shared().serverInfo();
}

int PulseSoundServer::addSourceListener(SourceListener listener) {
  return PulseContext::shared().addSourceListener(std::move(listener));
}

void PulseSoundServer::removeSourceListener(int token) {
  PulseContext::shared().removeSourceListener(token);
}

std::unique_ptr<AudioInput> PulseSoundServer::makeInput(SerialQueue& queue, AudioInput::BufferHandler onBuffer,
                                                        AudioInput::ErrorHandler onError) {
  return std::make_unique<PulseRecorder>(queue, std::move(onBuffer), std::move(onError));
}

std::unique_ptr<AudioOutput> PulseSoundServer::openOutput(int sampleRate, int channels, std::string* error) {
  return PulsePlayback::open(sampleRate, channels, error);
}

}  // namespace vorn
