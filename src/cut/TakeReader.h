// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Av.h"
#include "cut/Words.h"

#include <deque>
#include <string>
#include <vector>

namespace vorn::cut {

// Decodes the picture and sound of a take, but only around the segments a reel keeps: a
// long stretch between two segments is jumped over by seeking, and reading stops after the
// last one. Frames come in file order, each stream's times strictly rising.
class TakeReader {
 public:
  enum class Stream { video, audio, end };

  // Opens the take and both decoders; throws CutError when either stream is missing.
  TakeReader(const std::string& path, std::vector<Span> segments);

  const AVCodecContext* video() const { return video_.get(); }
  const AVCodecContext* audio() const { return audio_.get(); }
  AVRational videoTimeBase() const { return input_->streams[videoIndex_]->time_base; }
  AVRational audioTimeBase() const { return input_->streams[audioIndex_]->time_base; }

  // The next frame the segments need, its `pts` set; `end` when there is none.
  Stream next(AVFrame* out);

 private:
  struct Decoded {
    av::Frame frame;
    Stream stream;
  };

  bool readPacket();
  void drain(AVCodecContext* decoder, Stream stream);
  bool wanted(const AVFrame* frame, Stream stream);
  void moveOn();
  double seconds(std::int64_t pts, Stream stream) const;

  av::Input input_;
  av::CodecContext video_, audio_;
  int videoIndex_ = -1, audioIndex_ = -1;
  std::vector<Span> segments_;
  std::size_t segment_ = 0;
  av::Packet packet_ = av::makePacket();
  std::deque<Decoded> decoded_;
  // The newest time each stream has reached, in seconds, and the last pts handed out.
  double videoAt_ = -1, audioAt_ = -1;
  std::int64_t videoLast_ = AV_NOPTS_VALUE, audioLast_ = AV_NOPTS_VALUE;
  bool flushed_ = false;
};

}  // namespace vorn::cut
