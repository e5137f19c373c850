// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Av.h"

#include <string>

namespace vorn::cut {

// Encodes the reel's frames as H.264 (BT.709) and AAC into an MP4 whose moov comes first.
class ReelWriter {
 public:
  // Opens the encoders and the file at `path`, marked with `mark` (its comment); throws
  // CutError when it cannot be written.
  ReelWriter(const std::string& path, const std::string& mark, AVRational videoTimeBase,
             AVRational audioTimeBase);

  // Encodes one frame; null flushes that stream's encoder.
  void writeVideo(AVFrame* frame);
  void writeAudio(AVFrame* frame);
  // Flushes both encoders and completes the file.
  void finish();

 private:
  void drain(AVCodecContext* encoder, AVStream* stream);

  av::Output output_;
  av::CodecContext video_;
  av::CodecContext audio_;
  AVStream* videoStream_ = nullptr;
  AVStream* audioStream_ = nullptr;
  av::Packet packet_ = av::makePacket();
};

}  // namespace vorn::cut
