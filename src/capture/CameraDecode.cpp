// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/CameraDecode.h"

#include <libyuv/convert_argb.h>
#include <turbojpeg.h>

namespace vorn {

CameraDecoder::CameraDecoder() : jpeg_(tjInitDecompress()) {}

CameraDecoder::~CameraDecoder() {
  if (jpeg_) tjDestroy(jpeg_);
}

bool CameraDecoder::decodeJpeg(const std::uint8_t* data, std::size_t size, FrameBuffer& frame) {
  if (!jpeg_ || size == 0) return false;
  int width = 0, height = 0, subsampling = 0, colorspace = 0;
  if (tjDecompressHeader3(jpeg_, data, static_cast<unsigned long>(size), &width, &height,
                          &subsampling, &colorspace) != 0)
    return false;
  if (width != frame.width() || height != frame.height()) return false;
  // BGRA with an opaque alpha is already premultiplied. The fast DCT costs no visible
  // quality at camera resolutions.
  return tjDecompress2(jpeg_, data, static_cast<unsigned long>(size), frame.data(), width,
                       frame.stride(), height, TJPF_BGRA, TJFLAG_FASTDCT) == 0;
}

bool CameraDecoder::convertYuyv(const std::uint8_t* data, std::size_t size, int bytesPerLine,
                                FrameBuffer& frame) {
  if (bytesPerLine < frame.width() * 2 ||
      size < std::size_t(bytesPerLine) * std::size_t(frame.height()))
    return false;
  // libyuv's "ARGB" is B, G, R, A in memory: our layout.
  return libyuv::YUY2ToARGB(data, bytesPerLine, frame.data(), frame.stride(), frame.width(),
                            frame.height()) == 0;
}

bool CameraDecoder::convertNv12(const std::uint8_t* data, std::size_t size, int bytesPerLine,
                                FrameBuffer& frame) {
  const std::size_t lumaBytes = std::size_t(bytesPerLine) * std::size_t(frame.height());
  if (bytesPerLine < frame.width() || size < lumaBytes + lumaBytes / 2) return false;
  return libyuv::NV12ToARGB(data, bytesPerLine, data + lumaBytes, bytesPerLine, frame.data(),
                            frame.stride(), frame.width(), frame.height()) == 0;
}

}  // namespace vorn
