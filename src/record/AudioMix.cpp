// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/AudioMix.h"

#include "base/AudioDecoder.h"
#include "record/AudioEncoder.h"

#include <algorithm>
#include <stdexcept>

namespace vorn {
namespace {

constexpr int mixRate = AudioMix::sampleRate;
static_assert(mixRate == AudioDecoder::sampleRate);

}  // namespace

// One audio track laid out on the take's sample timeline: its first sound where the movie
// puts it, anything before the timeline's zero cut off.
class AudioTrack {
 public:
  AudioTrack(const std::string& path, int stream) : decoder_(path, stream) {
    position_ = decoder_.startFrame();
  }

  // Adds the track's samples [from, from + count) into the mix; returns how many it had.
  int mixInto(std::int64_t from, int count, float* left, float* right) {
    while (position_ < from && !exhausted_)  // sound from before `from`: passed over
      read(int(std::min<std::int64_t>(from - position_, count)));
    const int gap = int(std::clamp<std::int64_t>(position_ - from, 0, count));
    const int got = exhausted_ ? 0 : read(count - gap);
    for (int i = 0; i < got; ++i) {
      left[gap + i] += scratch_[2 * size_t(i)];
      right[gap + i] += scratch_[2 * size_t(i) + 1];
    }
    return got;
  }

  bool exhausted() const { return exhausted_; }

 private:
  int read(int frames) {
    scratch_.resize(2 * size_t(frames));
    const int got = decoder_.read(scratch_.data(), frames);
    if (decoder_.failed()) throw std::runtime_error("Couldn't decode the take's audio.");
    exhausted_ = got < frames;
    position_ += got;
    return got;
  }

  AudioDecoder decoder_;
  std::vector<float> scratch_;
  std::int64_t position_ = 0;  // timeline frame of the next sample read
  bool exhausted_ = false;
};

AudioMix::AudioMix(const std::string& path, const std::vector<int>& audioStreams)
    : frame_(av::makeFrame()) {
  for (int stream : audioStreams) tracks_.push_back(std::make_unique<AudioTrack>(path, stream));
  encoder_ = AudioEncoder::openAac(2, 192'000);
}

AudioMix::~AudioMix() = default;

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
  int heard = 0;
  for (auto& track : tracks_) heard += track->mixInto(mixPosition_, count, left, right);
  const auto over = [](const auto& track) { return track->exhausted(); };
  if (heard == 0 && std::all_of(tracks_.begin(), tracks_.end(), over)) return false;
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
