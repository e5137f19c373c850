// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/TakeAudio.h"

#include "base/Av.h"
#include "cut/Words.h"

extern "C" {
#include <libswresample/swresample.h>
}

#include <memory>

namespace vorn::cut {
namespace {

struct ResampleFree {
  void operator()(SwrContext* context) const { swr_free(&context); }
};
using Resample = std::unique_ptr<SwrContext, ResampleFree>;

av::Input open(const std::string& path) {
  try {
    return av::openInput(path);
  } catch (const std::runtime_error&) {
    throw CutError("The take can't be read: it is missing, truncated or not a movie.");
  }
}

av::CodecContext openDecoder(const AVStream* stream) {
  if (!avcodec_find_decoder(stream->codecpar->codec_id))
    throw CutError("The take's sound is in a format this computer can't decode.");
  try {
    return av::openDecoder(stream);
  } catch (const std::runtime_error&) {
    throw CutError("The take's sound can't be decoded.");
  }
}

Resample makeResampler(const AVCodecContext* decoder) {
  SwrContext* raw = nullptr;
  AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
  // FFmpeg 5.1 takes the input layout by a non-const pointer.
  AVChannelLayout input = decoder->ch_layout;
  if (swr_alloc_set_opts2(&raw, &mono, AV_SAMPLE_FMT_S16, Pcm::kRate, &input, decoder->sample_fmt,
                          decoder->sample_rate, 0, nullptr) < 0 ||
      swr_init(raw) < 0) {
    swr_free(&raw);
    throw CutError("The take's sound can't be converted for listening.");
  }
  return Resample(raw);
}

// Converts one decoded frame (or, given none, what the resampler still holds) onto `out`.
void append(SwrContext* resampler, const AVFrame* frame, Pcm& out) {
  const int inCount = frame ? frame->nb_samples : 0;
  const int room = swr_get_out_samples(resampler, inCount);
  if (room <= 0) return;
  const std::size_t at = out.samples.size();
  out.samples.resize(at + room);
  auto* target = reinterpret_cast<std::uint8_t*>(out.samples.data() + at);
  const int made = swr_convert(
      resampler, &target, room,
      frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr, inCount);
  out.samples.resize(at + std::max(made, 0));
}

void drain(AVCodecContext* decoder, AVFrame* frame, SwrContext* resampler, Pcm& out) {
  while (avcodec_receive_frame(decoder, frame) >= 0) {
    append(resampler, frame, out);
    av_frame_unref(frame);
  }
}

}  // namespace

int voiceStream(const AVFormatContext* input) {
  for (unsigned i = 0; i < input->nb_streams; ++i)
    if (input->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) return int(i);
  return -1;
}

Pcm decodeTakeAudio(const std::string& path) {
  av::Input input = open(path);
  const int index = voiceStream(input.get());
  if (index < 0) throw CutError("The take has no sound, so there is no speech to cut.");
  av::CodecContext decoder = openDecoder(input->streams[index]);
  Resample resampler = makeResampler(decoder.get());
  av::Packet packet = av::makePacket();
  av::Frame frame = av::makeFrame();
  Pcm pcm;
  while (av_read_frame(input.get(), packet.get()) >= 0) {
    if (packet->stream_index == index && avcodec_send_packet(decoder.get(), packet.get()) >= 0)
      drain(decoder.get(), frame.get(), resampler.get(), pcm);
    av_packet_unref(packet.get());
  }
  avcodec_send_packet(decoder.get(), nullptr);
  drain(decoder.get(), frame.get(), resampler.get(), pcm);
  append(resampler.get(), nullptr, pcm);
  if (pcm.samples.empty()) throw CutError("The take's sound holds no samples: no speech to cut.");
  return pcm;
}

double takeDuration(const std::string& path) {
  av::Input input = open(path);
  if (input->duration > 0) return double(input->duration) / AV_TIME_BASE;
  double longest = 0;
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    const AVStream* stream = input->streams[i];
    if (stream->duration > 0)
      longest = std::max(longest, stream->duration * av_q2d(stream->time_base));
  }
  return longest;
}

}  // namespace vorn::cut
