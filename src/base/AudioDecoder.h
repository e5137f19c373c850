// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Av.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct SwrContext;

namespace vorn {

// Decodes one audio track of a movie into 48 kHz interleaved stereo float, from the start or,
// after `rewind`, from the start again; the movie's other tracks are skipped unread. For
// playing a take back and for mixing its tracks.
class AudioDecoder {
 public:
  static constexpr int sampleRate = 48000;

  // The track `stream`, or with -1 the movie's main audio track. Throws std::runtime_error
  // with one sentence when there is no such audio or it can't be decoded.
  explicit AudioDecoder(const std::string& path, int stream = -1);
  ~AudioDecoder();

  // Up to `frames` stereo frames into `out`; fewer only at the end of the track (0 after it),
  // or when decoding failed.
  int read(float* out, int frames);
  void rewind();
  // Where the track's first sound lies on the movie's timeline, in frames (decoding it if need
  // be; 0 when the movie doesn't say).
  std::int64_t startFrame();
  // Decoding stopped on an error rather than at the end of the track.
  bool failed() const { return failed_; }

 private:
  bool decodeMore();
  void convert(const AVFrame& frame);

  struct ResamplerFree {
    void operator()(SwrContext* context) const;
  };
  av::Input input_;
  int stream_ = -1;
  av::CodecContext codec_;
  std::unique_ptr<SwrContext, ResamplerFree> resampler_;
  av::Frame frame_;
  av::Packet packet_;
  std::vector<float> pending_;  // converted samples not yet read
  size_t readFrom_ = 0;
  std::optional<std::int64_t> start_;
  bool ended_ = false;
  bool failed_ = false;
};

}  // namespace vorn
