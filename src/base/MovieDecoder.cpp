// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/MovieDecoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <stdexcept>

namespace vorn {

MovieDecoder::MovieDecoder(const std::string& path)
    : frame_(av::makeFrame()), packet_(av::makePacket()) {
  format_ = av::openInput(path);
  AVFormatContext* format = format_.get();
  stream_ = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (stream_ < 0) throw std::runtime_error(path + " holds no picture.");
  const AVStream* stream = format->streams[stream_];
  try {
    codec_ = av::openDecoder(stream);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error("Cannot decode " + path + ": " + error.what() + ".");
  }
  timeBase_ = av_q2d(stream->time_base);
  if (stream->duration > 0) duration_ = stream->duration * timeBase_;
  else if (format->duration > 0) duration_ = double(format->duration) / AV_TIME_BASE;
  const AVRational rate = stream->avg_frame_rate.num > 0 ? stream->avg_frame_rate : stream->r_frame_rate;
  if (rate.num > 0 && rate.den > 0) frameRate_ = std::clamp(av_q2d(rate), 1.0, 60.0);
  frameSeconds_ = 1.0 / frameRate_;
  if (!decodeNext() || width() <= 0 || height() <= 0)
    throw std::runtime_error(path + " holds no picture.");
}

int MovieDecoder::width() const { return frame_->width; }
int MovieDecoder::height() const { return frame_->height; }

bool MovieDecoder::decodeNext() {
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (receive()) return true;
    // At the end: one picture in all means a still image.
    if (decoded_ == 1) still_ = true;
    if (decoded_ == 0 && attempt == 1) return false;
    av_seek_frame(format_.get(), stream_, 0, AVSEEK_FLAG_BACKWARD);
    avcodec_flush_buffers(codec_.get());
    loopOffset_ += lastTime_ + frameSeconds_;
    ended_ = false;
  }
  return false;
}

void MovieDecoder::copyTo(FrameBuffer& out) {
  scale_.reset(sws_getCachedContext(scale_.release(), frame_->width, frame_->height,
                                    AVPixelFormat(frame_->format), out.width(), out.height(),
                                    AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr));
  if (!scale_) return;
  uint8_t* planes[4] = {out.data(), nullptr, nullptr, nullptr};
  const int strides[4] = {out.stride(), 0, 0, 0};
  sws_scale(scale_.get(), frame_->data, frame_->linesize, 0, frame_->height, planes, strides);
}

bool MovieDecoder::receive() {
  const int code =
      av::receiveFrame(format_.get(), stream_, codec_.get(), packet_.get(), frame_.get(), ended_);
  if (code != 0) return false;
  ++decoded_;
  const int64_t pts = frame_->best_effort_timestamp;
  const double local = pts == AV_NOPTS_VALUE ? decoded_ * frameSeconds_ : pts * timeBase_;
  if (frame_->pkt_duration > 0) frameSeconds_ = frame_->pkt_duration * timeBase_;
  time_ = loopOffset_ + local;
  lastTime_ = local;
  return true;
}

}  // namespace vorn
