// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/AudioBuffer.h"
#include "base/Av.h"
#include "record/SoundTimeline.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace vorn {

// One AAC track of a take (48 kHz; mono 128 kbit/s or stereo 160 kbit/s). Buffers are placed
// on the track's own sample timeline by their written time (see SoundTimeline), so the track
// stays locked to the host clock however long the take. Used on the writer thread only.
class AudioEncoder {
 public:
  static constexpr int sampleRate = 48000;
  // The AAC encoder's delay. Packets leave `add` and `finish` stamped this much later than the
  // encoder stamps them, so no track of a fragmented movie starts before zero (which would make
  // the muxer move every track); TakeFiles::remux moves the audio back into place.
  static constexpr int primingSamples = 1024;
  using PacketSink = std::function<int(AVPacket*)>;

  // Throws std::runtime_error when the encoder does not open.
  AudioEncoder(int channels, int bitRate);

  // Vorn's AAC encoder, opened: float planes at 48 kHz, the fast coder, a global header.
  // Throws std::runtime_error when it does not open.
  static av::CodecContext openAac(int channels, int bitRate);

  const AVCodecContext* context() const { return context_.get(); }

  // Adds a buffer whose first sample belongs at `seconds` of written time. Buffers at another
  // sample rate are dropped; other channel counts are mixed down or spread. Returns an
  // FFmpeg error code (< 0) on failure.
  int add(const AudioBuffer& buffer, double seconds, const PacketSink& sink);
  // Fills silence up to `seconds`, encodes what is left and drains the encoder.
  int finish(double seconds, const PacketSink& sink);

 private:
  int append(const float* interleaved, int frames, int channels, const PacketSink& sink);
  int appendSilence(std::int64_t frames, const PacketSink& sink);
  int encodePending(bool all, const PacketSink& sink);
  int drain(const PacketSink& sink);

  av::CodecContext context_;
  av::Frame frame_;
  av::Packet packet_;
  int channels_;
  std::vector<std::vector<float>> pending_;  // per channel, not yet encoded
  std::int64_t encodedPosition_ = 0;         // sample index of pending_'s first sample
  SoundTimeline timeline_;
};

}  // namespace vorn
