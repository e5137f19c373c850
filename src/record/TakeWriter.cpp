// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/TakeWriter.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <cerrno>
#include <cmath>

namespace vorn {
namespace {

bool isDiskFull(int code) {
  return code == AVERROR(ENOSPC) || code == AVERROR(EFBIG) || code == AVERROR(EDQUOT);
}

}  // namespace

TakeWriter::TakeWriter(int fd, const std::string& path, int fps, bool hasMic, bool hasSystem)
    : output_(av::openOutput(fd, path)), video_(fps) {
  av::addStream(output_.get(), video_.context());
  if (hasMic) {
    mic_ = std::make_unique<AudioEncoder>(1, 128'000);
    micStream_ = av::addStream(output_.get(), mic_->context())->index;
  }
  if (hasSystem) {
    system_ = std::make_unique<AudioEncoder>(2, 160'000);
    systemStream_ = av::addStream(output_.get(), system_->context())->index;
  }
}

TakeWriter::~TakeWriter() { close(); }

bool TakeWriter::start() {
  AVDictionary* options = nullptr;
  av_dict_set(&options, "movflags", "frag_keyframe+empty_moov+default_base_moof", 0);
  // Half-second fragments: a killed take loses at most that, plus what the encoder holds.
  av_dict_set(&options, "frag_duration", "500000", 0);  // microseconds
  output_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
  int code = avformat_write_header(output_.get(), &options);
  av_dict_free(&options);
  if (code >= 0) {
    avio_flush(output_->pb);
    code = output_->pb->error;
  }
  if (code < 0) return fail(code, "couldn't write the movie header");
  started_ = true;
  return true;
}

TakeWriter::Result TakeWriter::writeVideo(const FrameBuffer& frame, double seconds) {
  const std::int64_t ticks = std::llround(seconds / av_q2d(video_.context()->time_base));
  if (!started_ || ticks <= lastTicks_) return Result::dropped;
  const int code = video_.encode(frame, ticks, [this](AVPacket* packet) {
    return writePacket(packet, 0, video_.context()->time_base);
  });
  if (code < 0) {
    fail(code, "couldn't write a video frame");
    return Result::failed;
  }
  lastTicks_ = ticks;
  return Result::written;
}

TakeWriter::Result TakeWriter::writeAudio(bool system, const AudioBuffer& buffer,
                                          double seconds) {
  AudioEncoder* encoder = system ? system_.get() : mic_.get();
  const int stream = system ? systemStream_ : micStream_;
  if (!started_ || !encoder) return Result::dropped;
  const int code = encoder->add(buffer, seconds, [&](AVPacket* packet) {
    return writePacket(packet, stream, encoder->context()->time_base);
  });
  if (code < 0) {
    fail(code, "couldn't write audio");
    return Result::failed;
  }
  return Result::written;
}

bool TakeWriter::finish(double endSeconds) {
  if (!started_) return false;
  int code = video_.flush([this](AVPacket* packet) {
    return writePacket(packet, 0, video_.context()->time_base);
  });
  for (auto [encoder, stream] : {std::pair{mic_.get(), micStream_}, {system_.get(), systemStream_}}) {
    if (!encoder || code < 0) continue;
    code = encoder->finish(endSeconds, [&](AVPacket* packet) {
      return writePacket(packet, stream, encoder->context()->time_base);
    });
  }
  if (code < 0) {
    fail(code, "couldn't finish the take");
    close();
    return false;
  }
  started_ = false;
  code = av_write_trailer(output_.get());
  if (code >= 0) code = output_->pb->error;
  if (code < 0) fail(code, "couldn't finish the take");
  close();
  return code >= 0;
}

void TakeWriter::close() {
  // Without a trailer the fragments already written stay a valid movie.
  started_ = false;
  if (output_ && output_->pb) avio_closep(&output_->pb);
}

int TakeWriter::writePacket(AVPacket* packet, int streamIndex, AVRational timeBase) {
  AVStream* stream = output_->streams[streamIndex];
  packet->stream_index = streamIndex;
  av_packet_rescale_ts(packet, timeBase, stream->time_base);
  int code = av_write_frame(output_.get(), packet);
  if (code >= 0 && output_->pb->error < 0) code = output_->pb->error;
  if (code >= 0) ++packetCount_;
  return code;
}

bool TakeWriter::fail(int code, const std::string& what) {
  diskFull_ = diskFull_ || isDiskFull(code);
  error_ = what + ": " + av::errorText(code);
  return false;
}

}  // namespace vorn
