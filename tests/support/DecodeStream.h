// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Reading a movie's frames back, for the tests and the benchmarks that check what was written.

#include "base/Av.h"

#include <functional>
#include <stdexcept>

namespace vorn::test {

// Decodes every packet of stream `index` of `input` to the end (the decoder drained), handing
// each frame to `onFrame`. Throws std::runtime_error when the stream can't be decoded.
inline void decodeStream(AVFormatContext* input, int index,
                         const std::function<void(const AVFrame&)>& onFrame, int threads = 1) {
  const AVStream* stream = input->streams[index];
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  if (!codec) throw std::runtime_error("no decoder for the stream");
  av::CodecContext decoder(avcodec_alloc_context3(codec));
  if (!decoder) throw std::bad_alloc();
  av::check(avcodec_parameters_to_context(decoder.get(), stream->codecpar), "decoder parameters");
  decoder->pkt_timebase = stream->time_base;
  decoder->thread_count = threads;
  av::check(avcodec_open2(decoder.get(), codec, nullptr), "can't open the decoder");
  av::Packet packet = av::makePacket();
  av::Frame frame = av::makeFrame();
  const auto drain = [&] {
    while (avcodec_receive_frame(decoder.get(), frame.get()) == 0) {
      onFrame(*frame);
      av_frame_unref(frame.get());
    }
  };
  while (av_read_frame(input, packet.get()) >= 0) {
    if (packet->stream_index == index) avcodec_send_packet(decoder.get(), packet.get());
    av_packet_unref(packet.get());
    drain();
  }
  avcodec_send_packet(decoder.get(), nullptr);
  drain();
}

}  // namespace vorn::test
