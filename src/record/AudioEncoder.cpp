// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/AudioEncoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace vorn {

av::CodecContext AudioEncoder::openAac(int channels, int bitRate) {
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
  if (!codec) throw std::runtime_error("The AAC encoder is not available.");
  av::CodecContext context(avcodec_alloc_context3(codec));
  if (!context) throw std::bad_alloc();
  context->sample_fmt = AV_SAMPLE_FMT_FLTP;
  context->sample_rate = sampleRate;
  av_channel_layout_default(&context->ch_layout, channels);
  context->bit_rate = bitRate;
  context->time_base = {1, sampleRate};
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  // The "fast" coder costs a quarter of the default's time for the same bit rate.
  av_opt_set(context->priv_data, "aac_coder", "fast", 0);
  av::check(avcodec_open2(context.get(), codec, nullptr), "Couldn't open the AAC encoder");
  return context;
}

AudioEncoder::AudioEncoder(int channels, int bitRate)
    : context_(openAac(channels, bitRate)), frame_(av::makeFrame()), packet_(av::makePacket()),
      channels_(channels), pending_(channels) {
  if (context_->initial_padding != primingSamples)
    throw std::runtime_error("The AAC encoder has an unexpected delay.");
}

int AudioEncoder::add(const AudioBuffer& buffer, double seconds, const PacketSink& sink) {
  if (buffer.sampleRate != sampleRate || buffer.channels < 1) return 0;
  const std::int64_t at = std::llround(seconds * sampleRate);
  const std::int64_t expected = encodedPosition_ + std::int64_t(pending_[0].size());
  const SoundTimeline::Placement placed = timeline_.place(at, expected, buffer.frameCount());
  if (placed.silence > 0)
    if (int code = appendSilence(placed.silence, sink); code < 0) return code;
  const float* samples = buffer.samples.data() + std::ptrdiff_t(placed.skip) * buffer.channels;
  const int frames = buffer.frameCount() - placed.skip;
  if (placed.stretch == 0) return append(samples, frames, buffer.channels, sink);
  const std::vector<float> steered = SoundTimeline::stretched(samples, frames, buffer.channels, placed.stretch);
  return append(steered.data(), frames + placed.stretch, buffer.channels, sink);
}

int AudioEncoder::finish(double seconds, const PacketSink& sink) {
  const std::int64_t end = std::llround(seconds * sampleRate);
  const std::int64_t expected = encodedPosition_ + std::int64_t(pending_[0].size());
  if (end > expected)
    if (int code = appendSilence(end - expected, sink); code < 0) return code;
  if (int code = encodePending(true, sink); code < 0) return code;
  if (int code = avcodec_send_frame(context_.get(), nullptr); code < 0 && code != AVERROR_EOF)
    return code;
  return drain(sink);
}

int AudioEncoder::append(const float* interleaved, int frames, int channels,
                         const PacketSink& sink) {
  for (int c = 0; c < channels_; ++c) pending_[c].reserve(pending_[c].size() + frames);
  for (int i = 0; i < frames; ++i) {
    const float* in = interleaved + std::ptrdiff_t(i) * channels;
    if (channels == channels_) {
      for (int c = 0; c < channels_; ++c) pending_[c].push_back(in[c]);
    } else if (channels_ == 1) {
      float sum = 0;
      for (int c = 0; c < channels; ++c) sum += in[c];
      pending_[0].push_back(sum / float(channels));
    } else {
      for (int c = 0; c < channels_; ++c) pending_[c].push_back(in[std::min(c, channels - 1)]);
    }
  }
  return encodePending(false, sink);
}

int AudioEncoder::appendSilence(std::int64_t frames, const PacketSink& sink) {
  // Encode as we go so a long gap never builds a long buffer.
  while (frames > 0) {
    const std::int64_t step = std::min<std::int64_t>(frames, sampleRate);
    for (auto& channel : pending_) channel.insert(channel.end(), std::size_t(step), 0.0f);
    frames -= step;
    if (int code = encodePending(false, sink); code < 0) return code;
  }
  return 0;
}

int AudioEncoder::encodePending(bool all, const PacketSink& sink) {
  const int frameSize = context_->frame_size;
  std::size_t used = 0;
  const std::size_t available = pending_[0].size();
  while (available - used >= std::size_t(frameSize) || (all && used < available)) {
    const int count = int(std::min<std::size_t>(frameSize, available - used));
    av_frame_unref(frame_.get());
    frame_->format = AV_SAMPLE_FMT_FLTP;
    frame_->sample_rate = sampleRate;
    frame_->nb_samples = count;
    av_channel_layout_copy(&frame_->ch_layout, &context_->ch_layout);
    if (int code = av_frame_get_buffer(frame_.get(), 0); code < 0) return code;
    for (int c = 0; c < channels_; ++c)
      std::copy_n(pending_[c].data() + used, count, reinterpret_cast<float*>(frame_->data[c]));
    frame_->pts = encodedPosition_;
    encodedPosition_ += count;
    used += count;
    if (int code = avcodec_send_frame(context_.get(), frame_.get()); code < 0) return code;
    if (int code = drain(sink); code < 0) return code;
  }
  for (auto& channel : pending_) channel.erase(channel.begin(), channel.begin() + used);
  return 0;
}

int AudioEncoder::drain(const PacketSink& sink) {
  for (;;) {
    int code = avcodec_receive_packet(context_.get(), packet_.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return 0;
    if (code < 0) return code;
    packet_->pts += primingSamples;
    packet_->dts += primingSamples;
    code = sink(packet_.get());
    av_packet_unref(packet_.get());
    if (code < 0) return code;
  }
}

}  // namespace vorn
