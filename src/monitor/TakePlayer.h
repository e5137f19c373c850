// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"

#include <QObject>
#include <QSize>
#include <QString>

#include <atomic>
#include <functional>
#include <thread>

namespace vorn {

class SoundServer;

// Plays a take over and over: its pictures to `show` on the GUI thread (at most one waiting
// at a time, shrunk to `pictureSize`), its sound to the sound server, whose clock paces the
// pictures. Without sound (or without a sound server) the pictures keep their own time.
// Decoding runs on one thread of its own; the GUI thread only swaps pictures.
class TakePlayer : public QObject {
 public:
  explicit TakePlayer(std::function<void(const ConstFrameRef&)> show);
  ~TakePlayer() override;

  // Where the sound goes from the next `play` on; none: the takes play silently.
  void setSoundServer(std::shared_ptr<SoundServer> sound) { sound_ = std::move(sound); }
  // Starts playing `path` in pictures of `size`, unless that take is already playing.
  void play(const QString& path, QSize size);
  void stop();
  const QString& path() const { return path_; }

  // Pictures handed to `show` and times the take started over, since the last `play`.
  long shown() const { return shown_; }
  long loops() const { return loops_; }
  // Pictures that were due but not shown: the GUI still had the one before.
  long skipped() const { return skipped_; }
  // Whether the sound goes to the sound server (false while silent or stopped).
  bool audible() const { return audible_; }

 private:
  void run(const std::stop_token& stop, const std::string& path, QSize size, std::shared_ptr<SoundServer> sound);
  void publish(const ConstFrameRef& frame);

  const std::function<void(const ConstFrameRef&)> show_;
  std::shared_ptr<SoundServer> sound_;
  QString path_;
  std::atomic<bool> inFlight_{false};
  std::atomic<long> shown_{0}, loops_{0}, skipped_{0};
  std::atomic<bool> audible_{false};
  std::jthread thread_;  // last: joins before the rest goes
};

}  // namespace vorn
