#pragma once

#include "render/Av.h"
#include "render/FrameBuffer.h"

#include <functional>
#include <string>

namespace vorn {

// The H.264 encoder of a take: 1080 × 1920 High profile, BT.709 tagged, a key frame every
// 2 × fps, 18 Mbit/s at 60 fps and above, else 12. A hardware encoder when one opens and
// encodes a test frame here, else libx264 at a preset that keeps up on two cores. Used on the
// writer thread only.
class VideoEncoder {
 public:
  static constexpr int width = 1080;
  static constexpr int height = 1920;
  // Ticks per second of the presentation times handed to `encode`.
  static constexpr int timeScale = 90000;

  using PacketSink = std::function<int(AVPacket*)>;

  // Throws std::runtime_error when no encoder opens.
  explicit VideoEncoder(int fps);

  const AVCodecContext* context() const { return context_.get(); }
  // "libx264 (superfast)" or the hardware encoder's name.
  const std::string& name() const { return name_; }

  // Converts the frame to YUV 4:2:0 and encodes it at `ticks` (1/timeScale s); every packet
  // that comes out goes to `sink`. Returns an FFmpeg error code (< 0) on failure.
  int encode(const FrameBuffer& frame, std::int64_t ticks, const PacketSink& sink);
  // Drains the encoder at the end of the take.
  int flush(const PacketSink& sink);

  // Makes the next take start one libx264 preset faster (after this one dropped frames).
  static void stepFaster();

 private:
  int drain(const PacketSink& sink);

  av::CodecContext context_;
  av::Frame picture_;
  av::Packet packet_;
  std::string name_;
};

}  // namespace vorn
