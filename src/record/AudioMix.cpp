#include "record/AudioMix.h"

extern "C" {
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <deque>
#include <stdexcept>

namespace vorn {
namespace {

constexpr int mixRate = AudioMix::sampleRate;
constexpr int mixChannels = 2;

struct ResamplerFree {
  void operator()(SwrContext* context) const { swr_free(&context); }
};

}  // namespace

// One audio track read on its own demuxer (the other tracks skipped unread), decoded and
// converted to 48 kHz stereo float, laid out on the take's sample timeline.
class AudioTrack {
 public:
  AudioTrack(const std::string& path, int streamIndex)
      : input_(av::openInput(path)), stream_(streamIndex), frame_(av::makeFrame()),
        packet_(av::makePacket()) {
    for (unsigned i = 0; i < input_->nb_streams; ++i)
      input_->streams[i]->discard = int(i) == stream_ ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    const AVCodecParameters* parameters = input_->streams[stream_]->codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    if (!codec) throw std::runtime_error("The take has an audio track that can't be decoded.");
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_) throw std::bad_alloc();
    av::check(avcodec_parameters_to_context(decoder_.get(), parameters), "Couldn't read audio");
    decoder_->pkt_timebase = input_->streams[stream_]->time_base;
    av::check(avcodec_open2(decoder_.get(), codec, nullptr), "Couldn't open an audio decoder");
  }

  // Decodes until samples up to `end` are there or the track is over.
  void fill(std::int64_t end) {
    while (!finished_ && bufferStart_ + std::int64_t(left_.size()) < end) decodeMore();
  }

  // Adds samples [from, from + count) into the mix and forgets everything before from + count.
  void mixInto(std::int64_t from, int count, float* left, float* right) {
    for (int i = 0; i < count; ++i) {
      const std::int64_t at = from + i - bufferStart_;
      if (at < 0 || at >= std::int64_t(left_.size())) continue;
      left[i] += left_[at];
      right[i] += right_[at];
    }
    const std::int64_t drop = std::clamp<std::int64_t>(from + count - bufferStart_, 0, left_.size());
    left_.erase(left_.begin(), left_.begin() + drop);
    right_.erase(right_.begin(), right_.begin() + drop);
    bufferStart_ += drop;
  }

  bool exhausted() const { return finished_ && left_.empty(); }

 private:
  void decodeMore() {
    const int code = avcodec_receive_frame(decoder_.get(), frame_.get());
    if (code == 0) {
      place(*frame_);
      av_frame_unref(frame_.get());
    } else if (code == AVERROR_EOF) {
      finished_ = true;
    } else if (code == AVERROR(EAGAIN)) {
      const int read = av_read_frame(input_.get(), packet_.get());
      if (read < 0) {
        avcodec_send_packet(decoder_.get(), nullptr);
      } else {
        if (packet_->stream_index == stream_) avcodec_send_packet(decoder_.get(), packet_.get());
        av_packet_unref(packet_.get());
      }
    } else {
      av::check(code, "Couldn't decode the take's audio");
    }
  }

  void place(const AVFrame& frame) {
    if (!resampler_) openResampler(frame);
    const int capacity = swr_get_out_samples(resampler_.get(), frame.nb_samples);
    std::vector<float> out(std::size_t(std::max(capacity, 0)) * mixChannels);
    std::uint8_t* outData[] = {reinterpret_cast<std::uint8_t*>(out.data())};
    const int produced = av::check(
        swr_convert(resampler_.get(), outData, capacity,
                    const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples),
        "Couldn't convert the take's audio");
    std::int64_t at = bufferStart_ + std::int64_t(left_.size());
    if (frame.best_effort_timestamp != AV_NOPTS_VALUE && !placedAny_)
      at = av_rescale_q(frame.best_effort_timestamp, input_->streams[stream_]->time_base,
                        {1, mixRate});
    placedAny_ = true;
    if (left_.empty()) bufferStart_ = std::max<std::int64_t>(bufferStart_, at);
    for (int i = 0; i < produced; ++i) {
      if (at + i < bufferStart_) continue;
      left_.push_back(out[2 * i]);
      right_.push_back(out[2 * i + 1]);
    }
  }

  void openResampler(const AVFrame& frame) {
    SwrContext* raw = nullptr;
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    AVChannelLayout input = {};
    av_channel_layout_copy(&input, &frame.ch_layout);
    const int code = swr_alloc_set_opts2(&raw, &stereo, AV_SAMPLE_FMT_FLT, mixRate, &input,
                                         AVSampleFormat(frame.format), frame.sample_rate, 0,
                                         nullptr);
    av_channel_layout_uninit(&input);
    av::check(code, "Couldn't convert the take's audio");
    resampler_.reset(raw);
    av::check(swr_init(raw), "Couldn't convert the take's audio");
  }

  av::Input input_;
  int stream_;
  av::CodecContext decoder_;
  std::unique_ptr<SwrContext, ResamplerFree> resampler_;
  av::Frame frame_;
  av::Packet packet_;
  std::deque<float> left_, right_;
  std::int64_t bufferStart_ = 0;  // sample index of left_[0]
  bool placedAny_ = false;
  bool finished_ = false;
};


AudioMix::AudioMix(const std::string& path, const std::vector<int>& audioStreams)
    : frame_(av::makeFrame()) {
  for (int stream : audioStreams) tracks_.push_back(std::make_unique<AudioTrack>(path, stream));
  openEncoder();
}

AudioMix::~AudioMix() = default;

void AudioMix::openEncoder() {
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
  if (!codec) throw std::runtime_error("The AAC encoder is not available.");
  encoder_.reset(avcodec_alloc_context3(codec));
  if (!encoder_) throw std::bad_alloc();
  encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
  encoder_->sample_rate = mixRate;
  encoder_->ch_layout = AV_CHANNEL_LAYOUT_STEREO;
  encoder_->bit_rate = 192'000;
  encoder_->time_base = {1, mixRate};
  encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  // The "fast" coder costs a quarter of the default's time for the same bit rate.
  av_opt_set(encoder_->priv_data, "aac_coder", "fast", 0);
  av::check(avcodec_open2(encoder_.get(), codec, nullptr), "Couldn't open the AAC encoder");
}

bool AudioMix::next(AVPacket* packet) {
  for (;;) {
    const int code = avcodec_receive_packet(encoder_.get(), packet);
    if (code == 0) return true;
    if (code == AVERROR_EOF) return false;
    if (code != AVERROR(EAGAIN)) av::check(code, "Couldn't encode the mixed audio");
    if (flushed_) return false;
    if (!mixFrame()) {
      flushed_ = true;
      av::check(avcodec_send_frame(encoder_.get(), nullptr), "Couldn't encode the mixed audio");
    }
  }
}

bool AudioMix::mixFrame() {
  const int count = encoder_->frame_size;
  bool any = false;
  for (auto& track : tracks_) {
    track->fill(mixPosition_ + count);
    any = any || !track->exhausted();
  }
  if (!any) return false;
  av_frame_unref(frame_.get());
  frame_->format = AV_SAMPLE_FMT_FLTP;
  frame_->sample_rate = mixRate;
  frame_->nb_samples = count;
  av_channel_layout_copy(&frame_->ch_layout, &encoder_->ch_layout);
  av::check(av_frame_get_buffer(frame_.get(), 0), "Couldn't allocate audio");
  auto* left = reinterpret_cast<float*>(frame_->data[0]);
  auto* right = reinterpret_cast<float*>(frame_->data[1]);
  std::fill_n(left, count, 0.0f);
  std::fill_n(right, count, 0.0f);
  for (auto& track : tracks_) track->mixInto(mixPosition_, count, left, right);
  for (int i = 0; i < count; ++i) {
    left[i] = std::clamp(left[i], -1.0f, 1.0f);
    right[i] = std::clamp(right[i], -1.0f, 1.0f);
  }
  frame_->pts = mixPosition_;
  mixPosition_ += count;
  av::check(avcodec_send_frame(encoder_.get(), frame_.get()), "Couldn't encode the mixed audio");
  return true;
}

}  // namespace vorn
