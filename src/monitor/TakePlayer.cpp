// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/TakePlayer.h"

#include "base/AudioDecoder.h"
#include "base/Log.h"
#include "base/MovieDecoder.h"

#include "capture/SoundServer.h"

#include <QMetaObject>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace vorn {
namespace {

constexpr int kRate = AudioDecoder::sampleRate;
constexpr int kChunkFrames = kRate / 50;  // 20 ms of sound per write

std::unique_ptr<AudioOutput> openPlayback(SoundServer* sound) {
  if (!sound) return nullptr;
  std::string error;
  std::unique_ptr<AudioOutput> playback = sound->openOutput(kRate, 2, &error);
  if (!playback) logError("the take plays without sound: " + error);
  return playback;
}

std::optional<AudioDecoder> openSound(const std::string& path) {
  try {
    return std::optional<AudioDecoder>(std::in_place, path);
  } catch (const std::exception&) {
    return std::nullopt;  // a take without sound plays silently
  }
}

}  // namespace

TakePlayer::TakePlayer(std::function<void(const ConstFrameRef&)> show) : show_(std::move(show)) {}

TakePlayer::~TakePlayer() { stop(); }

void TakePlayer::play(const QString& path, QSize size) {
  if (path == path_ && thread_.joinable()) return;
  stop();
  path_ = path;
  shown_ = 0;
  loops_ = 0;
  skipped_ = 0;
  thread_ = std::jthread([this, file = path.toStdString(), size, sound = sound_](std::stop_token stop) {
    run(stop, file, size, sound);
  });
}

void TakePlayer::stop() {
  if (thread_.joinable()) {
    thread_.request_stop();
    thread_.join();
  }
  thread_ = {};
  path_.clear();
  audible_ = false;
}

void TakePlayer::publish(const ConstFrameRef& frame) {
  inFlight_ = true;
  ++shown_;
  QMetaObject::invokeMethod(this, [this, frame] {
    inFlight_ = false;
    show_(frame);
  }, Qt::QueuedConnection);
}

void TakePlayer::run(const std::stop_token& stop, const std::string& path, QSize size,
                     std::shared_ptr<SoundServer> sound) {
  try {
    MovieDecoder video(path);
    std::optional<AudioDecoder> track = openSound(path);
    const std::unique_ptr<AudioOutput> playback = track ? openPlayback(sound.get()) : nullptr;
    audible_ = bool(playback);
    FramePool pool(size.width(), size.height(), 2, 3);
    // Sound and pictures start over together at every multiple of the picture track's length.
    const auto loopFrames = std::int64_t(video.duration() * kRate);
    std::int64_t written = 0, loopEnd = loopFrames;
    std::vector<float> chunk(size_t(kChunkFrames) * 2);
    const auto started = std::chrono::steady_clock::now();
    while (!stop.stop_requested()) {
      double clock;
      if (playback) {
        const int frames = int(std::min<std::int64_t>(kChunkFrames, loopFrames > 0 ? loopEnd - written : kChunkFrames));
        const int got = track->read(chunk.data(), frames);
        std::fill(chunk.begin() + 2 * got, chunk.begin() + 2 * frames, 0.0f);  // the sound ran out first
        playback->write(chunk.data(), frames);
        written += frames;
        if (loopFrames > 0 && written >= loopEnd) {
          track->rewind();
          loopEnd += loopFrames;
        }
        clock = double(written) / kRate - playback->latency();
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        clock = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
      }
      // Every picture that is due, each shown unless the GUI still has the one before.
      while (video.time() <= clock && !stop.stop_requested()) {
        const FrameRef frame = inFlight_ ? nullptr : pool.take();
        if (frame) {
          video.copyTo(*frame);
          publish(frame);
        } else {
          ++skipped_;
        }
        if (!video.decodeNext()) throw std::runtime_error("its pictures stopped decoding");
        if (video.duration() > 0) loops_ = long(video.time() / video.duration());
      }
    }
    if (playback) playback->flush();
  } catch (const std::exception& error) {
    logError(std::string("the take can't be played: ") + error.what());
  }
  audible_ = false;
}

}  // namespace vorn
