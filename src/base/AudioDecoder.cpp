// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/AudioDecoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace vorn {

void AudioDecoder::ResamplerFree::operator()(SwrContext* context) const { swr_free(&context); }

AudioDecoder::AudioDecoder(const std::string& path, int stream)
    : input_(av::openInput(path)), frame_(av::makeFrame()), packet_(av::makePacket()) {
  if (stream < 0)
    stream_ = av_find_best_stream(input_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
  else if (unsigned(stream) < input_->nb_streams &&
           input_->streams[stream]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
    stream_ = stream;
  if (stream_ < 0) throw std::runtime_error("The movie has no sound that can be played.");
  for (unsigned i = 0; i < input_->nb_streams; ++i)
    input_->streams[i]->discard = int(i) == stream_ ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  try {
    codec_ = av::openDecoder(input_->streams[stream_]);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(std::string("The movie's sound can't be decoded: ") + error.what() + ".");
  }
}

AudioDecoder::~AudioDecoder() = default;

int AudioDecoder::read(float* out, int frames) {
  int done = 0;
  while (done < frames) {
    const size_t available = (pending_.size() - readFrom_) / 2;
    if (available == 0) {
      pending_.clear();
      readFrom_ = 0;
      if (!decodeMore()) break;
      continue;
    }
    const size_t take = std::min(available, size_t(frames - done));
    std::memcpy(out + 2 * done, pending_.data() + readFrom_, take * 2 * sizeof(float));
    readFrom_ += take * 2;
    done += int(take);
  }
  return done;
}

std::int64_t AudioDecoder::startFrame() {
  if (!start_ && readFrom_ == pending_.size()) decodeMore();
  return start_.value_or(0);
}

void AudioDecoder::rewind() {
  av_seek_frame(input_.get(), stream_, 0, AVSEEK_FLAG_BACKWARD);
  avcodec_flush_buffers(codec_.get());
  pending_.clear();
  readFrom_ = 0;
  ended_ = false;
}

bool AudioDecoder::decodeMore() {
  const int code =
      av::receiveFrame(input_.get(), stream_, codec_.get(), packet_.get(), frame_.get(), ended_);
  if (code != 0) {
    failed_ = code != AVERROR_EOF && code != AVERROR(EAGAIN);
    return false;
  }
  convert(*frame_);
  av_frame_unref(frame_.get());
  return true;
}

void AudioDecoder::convert(const AVFrame& frame) {
  if (!start_)
    start_ = frame.best_effort_timestamp == AV_NOPTS_VALUE
                 ? 0
                 : av_rescale_q(frame.best_effort_timestamp, input_->streams[stream_]->time_base,
                                {1, sampleRate});
  if (!resampler_) {
    SwrContext* raw = nullptr;
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    AVChannelLayout input{};
    av_channel_layout_copy(&input, &frame.ch_layout);
    const int code = swr_alloc_set_opts2(&raw, &stereo, AV_SAMPLE_FMT_FLT, sampleRate, &input,
                                         AVSampleFormat(frame.format), frame.sample_rate, 0, nullptr);
    av_channel_layout_uninit(&input);
    av::check(code, "Couldn't convert the movie's sound");
    resampler_.reset(raw);
    av::check(swr_init(raw), "Couldn't convert the movie's sound");
  }
  const int capacity = std::max(swr_get_out_samples(resampler_.get(), frame.nb_samples), 0);
  pending_.resize(size_t(capacity) * 2);
  std::uint8_t* planes[] = {reinterpret_cast<std::uint8_t*>(pending_.data())};
  const int produced = swr_convert(resampler_.get(), planes, capacity,
                                   const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
  pending_.resize(size_t(std::max(produced, 0)) * 2);
  readFrom_ = 0;
}

}  // namespace vorn
