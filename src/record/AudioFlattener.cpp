// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/AudioFlattener.h"

#include "base/Av.h"
#include "base/OwnFiles.h"
#include "base/UniqueFd.h"
#include "record/AudioMix.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <sys/file.h>
#include <thread>
#include <vector>

namespace vorn {
namespace {

std::string local(const QString& path) { return QFile::encodeName(path).toStdString(); }

// Encoded audio handed from the mixing thread to the writing one. Bounded, so the mix runs at
// most a few seconds ahead of the video.
class PacketChannel {
 public:
  // Waits for room; false when the reader has given up.
  bool push(av::Packet packet) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return packets_.size() < capacity || abandoned_; });
    if (abandoned_) return false;
    packets_.push_back(std::move(packet));
    lock.unlock();
    changed_.notify_all();
    return true;
  }
  // The end of the stream, or the failure that ended it.
  void close(std::exception_ptr failure) {
    {
      std::lock_guard guard(mutex_);
      closed_ = true;
      failure_ = failure;
    }
    changed_.notify_all();
  }
  void abandon() {
    {
      std::lock_guard guard(mutex_);
      abandoned_ = true;
    }
    changed_.notify_all();
  }
  // The next packet, or null at the end; rethrows the writer's failure.
  av::Packet pop() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !packets_.empty() || closed_; });
    if (packets_.empty()) {
      if (failure_) std::rethrow_exception(failure_);
      return nullptr;
    }
    av::Packet packet = std::move(packets_.front());
    packets_.pop_front();
    lock.unlock();
    changed_.notify_all();
    return packet;
  }

 private:
  static constexpr std::size_t capacity = 256;  // about five seconds of AAC
  std::mutex mutex_;  // guards everything below
  std::condition_variable changed_;
  std::deque<av::Packet> packets_;
  bool closed_ = false;
  bool abandoned_ = false;
  std::exception_ptr failure_;
};

// Writes the flattened movie: the video packets copied in order on the calling thread, the mix
// made at the same time on "vorn.flatten.audio".
class MixWriter {
 public:
  MixWriter(const std::string& source, int targetFd, const std::string& target,
            int videoStream, const std::vector<int>& audioStreams)
      : video_(av::openInput(source)), videoStream_(videoStream),
        mix_(source, audioStreams), output_(av::openOutput(targetFd, target)),
        packet_(av::makePacket()) {
    for (unsigned i = 0; i < video_->nb_streams; ++i)
      video_->streams[i]->discard = int(i) == videoStream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    addStreams();
  }

  void run() {
    av::writeHeaderMoovInFront(output_.get(), packetBound());
    PacketChannel channel;
    std::jthread mixer([&] { produce(channel); });
    try {
      interleave(channel);
    } catch (...) {
      channel.abandon();
      throw;
    }
    av::check(av_write_trailer(output_.get()), "Couldn't finish the flattened take");
    av::check(output_->pb->error, "Couldn't write the flattened take");
  }

 private:
  void addStreams() {
    const AVStream* in = video_->streams[videoStream_];
    AVStream* video = avformat_new_stream(output_.get(), nullptr);
    if (!video) throw std::bad_alloc();
    av::check(avcodec_parameters_copy(video->codecpar, in->codecpar), "Couldn't copy the video");
    video->codecpar->codec_tag = 0;
    video->time_base = in->time_base;
    video->avg_frame_rate = in->avg_frame_rate;
    av::addStream(output_.get(), mix_.encoder());
  }

  void produce(PacketChannel& channel) {
    pthread_setname_np(pthread_self(), "vorn.flatten.au");
    try {
      for (;;) {
        av::Packet packet = av::makePacket();
        if (!mix_.next(packet.get())) break;
        if (!channel.push(std::move(packet))) return;
      }
      channel.close(nullptr);
    } catch (...) {
      channel.close(std::current_exception());
    }
  }

  void interleave(PacketChannel& channel) {
    const AVRational videoBase = video_->streams[videoStream_]->time_base;
    const AVRational audioBase = mix_.encoder()->time_base;
    av::Packet audio = channel.pop();
    bool videoLeft = readVideo();
    while (videoLeft || audio) {
      if (videoLeft && (!audio || av_compare_ts(packet_->dts, videoBase, audio->dts, audioBase) <= 0)) {
        write(packet_.get(), 0, videoBase);
        videoLeft = readVideo();
      } else {
        write(audio.get(), 1, audioBase);
        audio = channel.pop();
      }
    }
  }

  // The video packets plus the mixed audio's (as long as the longest track, with a margin).
  std::int64_t packetBound() const {
    const AVStream* video = video_->streams[videoStream_];
    if (video->nb_frames <= 0) return 0;
    double audioSeconds = 0;
    for (unsigned i = 0; i < video_->nb_streams; ++i) {
      const AVStream* stream = video_->streams[i];
      if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
      if (stream->duration <= 0) return 0;
      audioSeconds = std::max(audioSeconds, stream->duration * av_q2d(stream->time_base));
    }
    return video->nb_frames + std::int64_t(audioSeconds * AudioMix::sampleRate / 1024 * 1.1) + 16;
  }

  bool readVideo() {
    for (;;) {
      av_packet_unref(packet_.get());
      if (av_read_frame(video_.get(), packet_.get()) < 0) return false;
      if (packet_->stream_index == videoStream_) return true;
    }
  }

  void write(AVPacket* packet, int streamIndex, AVRational timeBase) {
    av_packet_rescale_ts(packet, timeBase, output_->streams[streamIndex]->time_base);
    packet->stream_index = streamIndex;
    packet->pos = -1;
    av::check(av_interleaved_write_frame(output_.get(), packet), "Couldn't write the flattened take");
  }

  av::Input video_;
  int videoStream_;
  AudioMix mix_;
  av::Output output_;
  av::Packet packet_;  // the next video packet
};

}  // namespace

std::vector<QString> AudioFlattener::finishInterrupted(const QString& folder) {
  const QDir dir(folder);
  const QFileInfoList mixes =
      dir.entryInfoList({mixPrefix + "*"}, QDir::Files | QDir::Hidden | QDir::System);
  QDateTime lastMix;
  for (const QFileInfo& mix : mixes) {
    const UniqueFd fd(::open(local(mix.filePath()).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.valid() || ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) continue;  // being written
    lastMix = std::max(lastMix, mix.lastModified());
    QFile::remove(mix.filePath());
  }
  std::vector<QString> finished;
  if (!lastMix.isValid()) return finished;
  // The take was finished just before its mix began, so it is among the last ones written
  // before the mix was.
  for (const QFileInfo& take : dir.entryInfoList({"*.mp4"}, QDir::Files, QDir::Time)) {
    if (take.lastModified() > lastMix || take.lastModified() < lastMix.addSecs(-recentSeconds))
      continue;
    try {
      if (audioTracks(take.filePath()) < 2) continue;
      flatten(take.filePath());
      finished.push_back(take.filePath());
    } catch (const std::exception&) {
      // Left with its two tracks: every player still plays it.
    }
  }
  return finished;
}

int AudioFlattener::audioTracks(const QString& path) {
  av::Input probe = av::openInput(local(path));
  int count = 0;
  for (unsigned i = 0; i < probe->nb_streams; ++i)
    if (probe->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) ++count;
  return count;
}

void AudioFlattener::flatten(const QString& path) {
  const std::string source = local(path);
  int videoStream = -1;
  std::vector<int> audioStreams;
  {
    av::Input probe = av::openInput(source);
    for (unsigned i = 0; i < probe->nb_streams; ++i) {
      const AVMediaType type = probe->streams[i]->codecpar->codec_type;
      if (type == AVMEDIA_TYPE_VIDEO && videoStream < 0) videoStream = int(i);
      if (type == AVMEDIA_TYPE_AUDIO) audioStreams.push_back(int(i));
    }
  }
  if (audioStreams.size() < 2 || videoStream < 0) return;

  const QFileInfo info(path);
  const QString temporary = info.dir().filePath(
      mixPrefix + QUuid::createUuid().toString(QUuid::WithoutBraces) + ".mp4");
  const UniqueFd fd(OwnFiles::create(local(temporary)));
  if (!fd.valid()) throw std::runtime_error("Couldn't create the take's flattened copy.");
  // Held while the mix is written: a mix without its lock was left by a run that died.
  ::flock(fd.get(), LOCK_EX);
  try {
    MixWriter(source, fd.get(), local(temporary), videoStream, audioStreams).run();
    if (std::rename(local(temporary).c_str(), source.c_str()) != 0)
      throw std::runtime_error("Couldn't replace the take with its flattened copy.");
  } catch (...) {
    QFile::remove(temporary);
    throw;
  }
}

}  // namespace vorn
