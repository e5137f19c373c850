#pragma once

#include "base/Av.h"

#include <memory>
#include <string>
#include <vector>

struct SwrContext;

namespace vorn {

// Decodes the first audio track of a movie into 48 kHz interleaved stereo float, from the
// start or, after `rewind`, from the start again. For playing a take back.
class AudioDecoder {
 public:
  static constexpr int sampleRate = 48000;

  // Throws std::runtime_error with one sentence when `path` has no audio it can decode.
  explicit AudioDecoder(const std::string& path);
  ~AudioDecoder();

  // Up to `frames` stereo frames into `out`; fewer only at the end of the track (0 after it).
  int read(float* out, int frames);
  void rewind();

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
  bool ended_ = false;
};

}  // namespace vorn
