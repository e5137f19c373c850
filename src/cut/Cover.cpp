// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Cover.h"

#include "base/Av.h"
#include "base/OwnFiles.h"
#include "cut/Words.h"

#include <QFile>
#include <QImage>
#include <QString>


#include <vector>

namespace vorn::cut {

constexpr int kJpegQuality = 88;

void saveCover(const AVFrame* frame, const std::string& path) {
  av::Scale scale(sws_getContext(frame->width, frame->height, AVPixelFormat(frame->format),
                                 frame->width, frame->height, AV_PIX_FMT_BGRA, SWS_BILINEAR,
                                 nullptr, nullptr, nullptr));
  if (!scale) throw CutError("The reel's cover picture couldn't be made.");
  // The reel is BT.709; swscale assumes BT.601 unless told.
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  sws_setColorspaceDetails(scale.get(), bt709, 0, bt709, 1, 0, 1 << 16, 1 << 16);
  // swscale's vector code may write a little past the last row: give it room.
  const int stride = frame->width * 4;
  std::vector<std::uint8_t> pixels(std::size_t(stride) * (frame->height + 2));
  std::uint8_t* planes[1] = {pixels.data()};
  const int strides[1] = {stride};
  sws_scale(scale.get(), frame->data, frame->linesize, 0, frame->height, planes, strides);
  const QImage image(pixels.data(), frame->width, frame->height, stride, QImage::Format_RGB32);
  QFile file;
  if (!OwnFiles::create(file, path) || !image.save(&file, "JPEG", kJpegQuality) || !file.flush())
    throw CutError("The reel's cover couldn't be written.");
}

}  // namespace vorn::cut
