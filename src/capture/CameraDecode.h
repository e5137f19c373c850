// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/FrameBuffer.h"

namespace vorn {

// Turns the pixel formats cameras send into our BGRA frame buffers. Not thread-safe: one
// decoder per camera thread.
class CameraDecoder {
 public:
  CameraDecoder();
  ~CameraDecoder();
  CameraDecoder(const CameraDecoder&) = delete;
  CameraDecoder& operator=(const CameraDecoder&) = delete;

  // Each returns false when the data is not a whole picture of the frame's size (a torn
  // or corrupt camera buffer: the frame is skipped, never shown half-drawn).
  bool decodeJpeg(const std::uint8_t* data, std::size_t size, FrameBuffer& frame);
  static bool convertYuyv(const std::uint8_t* data, std::size_t size, int bytesPerLine,
                          FrameBuffer& frame);
  static bool convertNv12(const std::uint8_t* data, std::size_t size, int bytesPerLine,
                          FrameBuffer& frame);

 private:
  void* jpeg_;  // tjhandle
};

}  // namespace vorn
