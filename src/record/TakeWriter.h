// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "record/AudioEncoder.h"
#include "record/VideoEncoder.h"

#include <memory>
#include <string>

namespace vorn {

// Encodes one take into a fragmented MP4 (a fragment at every key frame and at least every
// second), so a crash, a kill or a power cut leaves a playable file missing at most the last
// second or two. Tracks in order: video, microphone, system audio. Times are written seconds
// from the session start. Used on the writer thread only (construction may happen elsewhere).
class TakeWriter {
 public:
  enum class Result { written, dropped, failed };

  // Opens the encoders and writes to the open, empty file `fd` (kept by the caller) called
  // `path`; throws std::runtime_error with one sentence.
  TakeWriter(int fd, const std::string& path, int fps, bool hasMic, bool hasSystem);
  ~TakeWriter();

  const std::string& encoderName() const { return video_.name(); }
  // Why the last call failed ("" when none did), and whether the disk (or quota) was full.
  const std::string& error() const { return error_; }
  bool diskFull() const { return diskFull_; }
  // Packets written to the file so far.
  std::int64_t packetCount() const { return packetCount_; }

  // Writes the header; false (with error()) on failure.
  bool start();
  // A frame at `seconds`; dropped unless later than the previous frame's tick.
  Result writeVideo(const FrameBuffer& frame, double seconds);
  Result writeAudio(bool system, const AudioBuffer& buffer, double seconds);
  // Pads the audio to `endSeconds`, drains the encoders and closes the last fragment.
  bool finish(double endSeconds);
  // Closes the file as it stands (what is on disk stays readable).
  void close();

 private:
  int writePacket(AVPacket* packet, int streamIndex, AVRational timeBase);
  bool fail(int code, const std::string& what);

  av::Output output_;
  VideoEncoder video_;
  std::unique_ptr<AudioEncoder> mic_;
  std::unique_ptr<AudioEncoder> system_;
  int micStream_ = -1;
  int systemStream_ = -1;
  std::int64_t lastTicks_ = -1;
  bool started_ = false;
  std::string error_;
  bool diskFull_ = false;
  std::int64_t packetCount_ = 0;
};

}  // namespace vorn
