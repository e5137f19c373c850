// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/ReelWriter.h"

#include "cut/ReelGraph.h"
#include "cut/Words.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <functional>

namespace vorn::cut {
namespace {

// The fastest preset with the loop filter and 8×8 transforms back: as sharp on text as
// "superfast" at half its CPU, for a file about half as large again (a platform encodes the
// upload anew anyway).
const char* const kPreset = "ultrafast";
const char* const kTools = "deblock=1:8x8dct=1:partitions=i8x8,i4x4";
const char* const kQuality = "21";
constexpr int kAudioBitRate = 160000;

av::CodecContext openEncoder(const char* name, AVFormatContext* output,
                             const std::function<void(AVCodecContext*)>& setUp) {
  const AVCodec* codec = avcodec_find_encoder_by_name(name);
  if (!codec) throw CutError(std::string("This computer's FFmpeg has no ") + name + " encoder.");
  av::CodecContext context(avcodec_alloc_context3(codec));
  if (!context) throw std::bad_alloc();
  setUp(context.get());
  if (output->oformat->flags & AVFMT_GLOBALHEADER) context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (avcodec_open2(context.get(), codec, nullptr) < 0)
    throw CutError(std::string("The ") + name + " encoder couldn't be started.");
  return context;
}

av::Output openFile(const std::string& path) {
  try {
    return av::openOutput(path);
  } catch (const std::runtime_error&) {
    throw CutError("The reel can't be written where it was asked to go.");
  }
}

}  // namespace

ReelWriter::ReelWriter(const std::string& path, const std::string& mark, AVRational videoTimeBase,
                       AVRational audioTimeBase)
    : output_(openFile(path)) {
  av_dict_set(&output_->metadata, "comment", mark.c_str(), 0);
  video_ = openEncoder("libx264", output_.get(), [&](AVCodecContext* c) {
    c->width = ReelGraph::kWidth;
    c->height = ReelGraph::kHeight;
    c->pix_fmt = AV_PIX_FMT_YUV420P;
    c->time_base = videoTimeBase;
    c->framerate = {ReelGraph::kFps, 1};
    c->gop_size = 2 * ReelGraph::kFps;
    c->color_primaries = AVCOL_PRI_BT709;
    c->color_trc = AVCOL_TRC_BT709;
    c->colorspace = AVCOL_SPC_BT709;
    c->color_range = AVCOL_RANGE_MPEG;
    av_opt_set(c->priv_data, "preset", kPreset, 0);
    av_opt_set(c->priv_data, "x264-params", kTools, 0);
    av_opt_set(c->priv_data, "crf", kQuality, 0);
  });
  audio_ = openEncoder("aac", output_.get(), [&](AVCodecContext* c) {
    c->sample_fmt = AV_SAMPLE_FMT_FLTP;
    c->sample_rate = ReelGraph::kSampleRate;
    c->ch_layout = AV_CHANNEL_LAYOUT_STEREO;
    c->bit_rate = kAudioBitRate;
    c->time_base = audioTimeBase;
  });
  videoStream_ = av::addStream(output_.get(), video_.get());
  audioStream_ = av::addStream(output_.get(), audio_.get());
  av::writeHeaderMoovInFront(output_.get(), 0);
}

void ReelWriter::writeVideo(AVFrame* frame) {
  if (avcodec_send_frame(video_.get(), frame) < 0)
    throw CutError("The reel's picture couldn't be encoded.");
  drain(video_.get(), videoStream_);
}

void ReelWriter::writeAudio(AVFrame* frame) {
  if (avcodec_send_frame(audio_.get(), frame) < 0)
    throw CutError("The reel's sound couldn't be encoded.");
  drain(audio_.get(), audioStream_);
}

void ReelWriter::finish() {
  writeVideo(nullptr);
  writeAudio(nullptr);
  if (av_write_trailer(output_.get()) < 0)
    throw CutError("The reel couldn't be completed on disk.");
}

void ReelWriter::drain(AVCodecContext* encoder, AVStream* stream) {
  while (avcodec_receive_packet(encoder, packet_.get()) >= 0) {
    av_packet_rescale_ts(packet_.get(), encoder->time_base, stream->time_base);
    packet_->stream_index = stream->index;
    if (av_interleaved_write_frame(output_.get(), packet_.get()) < 0)
      throw CutError("The reel couldn't be written to disk.");
  }
}

}  // namespace vorn::cut
