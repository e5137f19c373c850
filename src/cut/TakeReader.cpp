// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/TakeReader.h"

#include "cut/TakeAudio.h"

namespace vorn::cut {
namespace {

// Frames this close to a segment are kept, so the trims find whole frames at each edge.
constexpr double kMargin = 0.2;
// Without an index, a gap between segments longer than this is seeked over rather than decoded.
constexpr double kSeekGap = 4;
// With one, a seek pays once the keyframe a segment decodes from is this far ahead.
constexpr double kLeastSkip = 0.5;
// Seeking lands this far before a segment (then back to the keyframe before it): the margin,
// and room for the sound decoder's first frame after a seek, which it only primes on.
constexpr double kSeekLead = kMargin + 0.05;

av::CodecContext openDecoder(const AVStream* stream) {
  try {
    return av::openDecoder(stream, 0);
  } catch (const std::runtime_error&) {
    throw CutError("The take's streams can't be decoded on this computer.");
  }
}

// The picture, and the voice the reel's sound is made of.
int streamOf(AVFormatContext* input, AVMediaType type) {
  const int index = type == AVMEDIA_TYPE_AUDIO
                        ? voiceStream(input)
                        : av_find_best_stream(input, type, -1, -1, nullptr, 0);
  if (index < 0)
    throw CutError(type == AVMEDIA_TYPE_VIDEO
                       ? "The take has no picture to cut."
                       : "The take has no sound, so there is no speech to cut.");
  return index;
}

}  // namespace

TakeReader::TakeReader(const std::string& path, std::vector<Span> segments)
    : segments_(std::move(segments)) {
  try {
    input_ = av::openInput(path);
  } catch (const std::runtime_error&) {
    throw CutError("The take can't be read: it is missing, truncated or not a movie.");
  }
  videoIndex_ = streamOf(input_.get(), AVMEDIA_TYPE_VIDEO);
  audioIndex_ = streamOf(input_.get(), AVMEDIA_TYPE_AUDIO);
  video_ = openDecoder(input_->streams[videoIndex_]);
  audio_ = openDecoder(input_->streams[audioIndex_]);
  for (unsigned i = 0; i < input_->nb_streams; ++i)
    if (int(i) != videoIndex_ && int(i) != audioIndex_) input_->streams[i]->discard = AVDISCARD_ALL;
}

TakeReader::Stream TakeReader::next(AVFrame* out) {
  while (segment_ < segments_.size()) {
    if (!decoded_.empty()) {
      Decoded front = std::move(decoded_.front());
      decoded_.pop_front();
      if (!wanted(front.frame.get(), front.stream)) continue;
      av_frame_move_ref(out, front.frame.get());
      return front.stream;
    }
    if (!readPacket()) return Stream::end;
  }
  return Stream::end;
}

bool TakeReader::readPacket() {
  if (flushed_) return false;
  const int code = av_read_frame(input_.get(), packet_.get());
  if (code < 0) {
    // The end of the file: whatever the decoders hold still comes out.
    flushed_ = true;
    avcodec_send_packet(video_.get(), nullptr);
    avcodec_send_packet(audio_.get(), nullptr);
  } else {
    const bool isVideo = packet_->stream_index == videoIndex_;
    if (isVideo || packet_->stream_index == audioIndex_)
      avcodec_send_packet(isVideo ? video_.get() : audio_.get(), packet_.get());
    av_packet_unref(packet_.get());
  }
  drain(video_.get(), Stream::video);
  drain(audio_.get(), Stream::audio);
  return !flushed_ || !decoded_.empty();
}

void TakeReader::drain(AVCodecContext* decoder, Stream stream) {
  for (;;) {
    av::Frame frame = av::makeFrame();
    if (avcodec_receive_frame(decoder, frame.get()) < 0) return;
    frame->pts = frame->best_effort_timestamp;
    if (frame->pts == AV_NOPTS_VALUE) continue;
    decoded_.push_back({std::move(frame), stream});
  }
}

// Keeps a frame near the current segment or a later one, with a time beyond the last one
// handed out; once both streams are past the current segment, the next one is current.
bool TakeReader::wanted(const AVFrame* frame, Stream stream) {
  const double time = seconds(frame->pts, stream);
  (stream == Stream::video ? videoAt_ : audioAt_) = time;
  std::int64_t& last = stream == Stream::video ? videoLast_ : audioLast_;
  if (last != AV_NOPTS_VALUE && frame->pts <= last) return false;
  while (segment_ < segments_.size() &&
         std::min(videoAt_, audioAt_) > segments_[segment_].end + kMargin)
    moveOn();
  const double length = stream == Stream::audio && frame->sample_rate > 0
                            ? double(frame->nb_samples) / frame->sample_rate
                            : 0;
  for (std::size_t i = segment_; i < segments_.size(); ++i) {
    if (time > segments_[i].end + kMargin) continue;
    if (time + length < segments_[i].start - kMargin) return false;
    last = frame->pts;
    return true;
  }
  return false;
}

// On to the next segment; when the keyframe it decodes from lies ahead, by seeking there and
// starting the decoders afresh. A studio take has a keyframe every two seconds, so most gaps
// of a dropped sentence or two are jumped rather than decoded.
void TakeReader::moveOn() {
  ++segment_;
  if (segment_ >= segments_.size()) return;
  const double start = segments_[segment_].start;
  const double reached = std::max(videoAt_, audioAt_);
  AVStream* video = input_->streams[videoIndex_];
  const auto lead = std::int64_t((start - kSeekLead) / av_q2d(video->time_base));
  const AVIndexEntry* key = avformat_index_get_entry_from_timestamp(video, lead, AVSEEK_FLAG_BACKWARD);
  const bool indexed = key && (key->flags & AVINDEX_KEYFRAME);
  if (indexed ? seconds(key->timestamp, Stream::video) - reached < kLeastSkip
              : start - reached < kSeekGap)
    return;
  if (av_seek_frame(input_.get(), videoIndex_, indexed ? key->timestamp : lead,
                    AVSEEK_FLAG_BACKWARD) < 0)
    return;
  avcodec_flush_buffers(video_.get());
  avcodec_flush_buffers(audio_.get());
  decoded_.clear();
}

double TakeReader::seconds(std::int64_t pts, Stream stream) const {
  return pts * av_q2d(stream == Stream::video ? videoTimeBase() : audioTimeBase());
}

}  // namespace vorn::cut
