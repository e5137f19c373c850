// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Av.h"
#include "base/FrameBuffer.h"
#include "model/Geometry.h"

#include <functional>
#include <memory>
#include <string>

namespace vorn {

class HardwareFrames;

// The H.264 encoder of a take: 1080 × 1920 High profile, BT.709 tagged, a key frame every
// 2 × fps, 18 Mbit/s at 60 fps and above, else 12. A hardware encoder (NVENC, VAAPI) when one
// opens and encodes a test frame here, else libx264 at a preset that keeps up on two cores.
// Used on the writer thread only.
class VideoEncoder {
 public:
  static constexpr int width = int(Geometry::canvasWidth);
  static constexpr int height = int(Geometry::canvasHeight);
  using PacketSink = std::function<int(AVPacket*)>;

  // The first of the hardware encoders that works on this machine (tried once per run), else
  // libx264. Throws std::runtime_error when no encoder opens.
  explicit VideoEncoder(int fps);
  // Exactly this encoder: "libx264", "h264_nvenc" or "h264_vaapi". Throws std::runtime_error
  // with the reason when it can't be opened here.
  VideoEncoder(int fps, const std::string& encoder);
  ~VideoEncoder();
  VideoEncoder(const VideoEncoder&) = delete;
  VideoEncoder& operator=(const VideoEncoder&) = delete;

  const AVCodecContext* context() const { return context_.get(); }
  // "libx264 (superfast)" or the hardware encoder's name.
  const std::string& name() const { return name_; }

  // Converts the frame to YUV 4:2:0 and encodes it at `ticks` (frames of 1/fps s); every packet
  // that comes out goes to `sink`. Returns an FFmpeg error code (< 0) on failure.
  int encode(const FrameBuffer& frame, std::int64_t ticks, const PacketSink& sink);
  // Drains the encoder at the end of the take.
  int flush(const PacketSink& sink);

  // Makes the next take start one libx264 preset faster (after this one dropped frames).
  static void stepFaster();

 private:
  void open(const std::string& encoder, int fps);
  void openSoftware(int fps);
  // Hands picture_ to the encoder, through video memory for a hardware encoder that needs it.
  int send();
  int drain(const PacketSink& sink);
  // Whether a black picture goes in and a packet comes out (ends the encoder's stream).
  bool encodesTestPicture();
  // The name of the first hardware encoder that works here, or empty; tried once per run.
  static const std::string& workingHardware(int fps);

  av::CodecContext context_;
  std::unique_ptr<HardwareFrames> hardware_;
  av::Frame picture_;
  av::Packet packet_;
  std::string name_;
};

}  // namespace vorn
