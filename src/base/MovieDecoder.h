// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Av.h"
#include "base/FrameBuffer.h"

#include <string>

namespace vorn {

// Decodes the pictures of a movie (or a single picture) one by one into BGRA, starting over
// at its end. The sample screen and the sample camera both play their files through it.
class MovieDecoder {
 public:
  // Opens `path` and decodes its first picture; throws std::runtime_error with one sentence.
  explicit MovieDecoder(const std::string& path);

  int width() const;
  int height() const;
  // Pictures per second the file declares (1…60; 30 when it declares none).
  double frameRate() const { return frameRate_; }
  // Seconds from the start of the file to the picture just decoded, growing across loops.
  double time() const { return time_; }
  // Seconds the picture track lasts (0 when the file does not say).
  double duration() const { return duration_; }
  // True when the file holds one picture only.
  bool still() const { return still_; }

  // Decodes the next picture, going back to the start after the last one; false when the
  // file yields no picture at all.
  bool decodeNext();
  // Converts the current picture into `out`, scaling it to `out`'s size.
  void copyTo(FrameBuffer& out);

 private:
  bool receive();

  av::Input format_;
  av::CodecContext codec_;
  av::Frame frame_;
  av::Packet packet_;
  av::Scale scale_;
  int stream_ = -1;
  double timeBase_ = 0;
  double frameRate_ = 30;
  double frameSeconds_ = 1.0 / 30;
  double time_ = 0;
  double duration_ = 0;
  double lastTime_ = 0;
  double loopOffset_ = 0;
  int decoded_ = 0;
  bool ended_ = false;
  bool still_ = false;
};

}  // namespace vorn
