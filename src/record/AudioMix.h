// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Av.h"

#include <memory>
#include <string>
#include <vector>

namespace vorn {

class AudioTrack;

// The audio tracks of a movie decoded, mixed into one stereo stream (48 kHz) and encoded as
// AAC at 192 kbit/s, packet by packet. Each track is read through its own demuxer that skips
// the other tracks unread, so the mix needs no pass over the video.
class AudioMix {
 public:
  static constexpr int sampleRate = 48000;

  // Throws std::runtime_error with one sentence when a track cannot be decoded.
  AudioMix(const std::string& path, const std::vector<int>& audioStreams);
  ~AudioMix();

  const AVCodecContext* encoder() const { return encoder_.get(); }
  // The next packet of the mix (time base 1 / sampleRate); false once the mix is over.
  bool next(AVPacket* packet);

 private:
  // Mixes and sends the next frame; false once every track is exhausted.
  bool mixFrame();

  std::vector<std::unique_ptr<AudioTrack>> tracks_;
  av::CodecContext encoder_;
  av::Frame frame_;
  std::int64_t mixPosition_ = 0;
  bool flushed_ = false;
};

}  // namespace vorn
