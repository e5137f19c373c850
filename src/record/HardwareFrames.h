// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Av.h"

#include <memory>
#include <string>

namespace vorn {

// Video memory for an encoder that reads its pictures from there (VAAPI): the device, a pool
// of NV12 surfaces of the take's size, and the upload of each converted picture. Used on the
// writer thread only.
class HardwareFrames {
 public:
  // Nothing, with the reason in `error`, when there is no such device or it has no surfaces
  // of this size.
  static std::unique_ptr<HardwareFrames> open(AVHWDeviceType type, AVPixelFormat surfaceFormat,
                                              int width, int height, std::string& error);

  // The surface pool, for the encoder's hw_frames_ctx (take a reference of your own).
  AVBufferRef* pool() const { return pool_.get(); }

  // A surface holding `picture` (planar YUV 4:2:0 in memory) with its time and colour tags;
  // null with an FFmpeg error code in `code` when the upload fails. Valid until the next call.
  AVFrame* upload(const AVFrame& picture, int& code);

 private:
  HardwareFrames() = default;

  av::Buffer device_;
  av::Buffer pool_;
  av::Frame staging_;  // the picture as NV12, the surfaces' layout
  av::Frame surface_;
};

}  // namespace vorn
