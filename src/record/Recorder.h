// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/AudioBuffer.h"
#include "base/FrameBuffer.h"
#include "base/Locked.h"
#include "base/SerialQueue.h"
#include "base/UniqueFd.h"
#include "record/AudioArrivals.h"

#include <QString>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace vorn {

class TakeWriter;

// Writes one take: the composed 1080 × 1920 frames of the render loop and the microphone
// and system audio, on a pause-aware timeline (written time = host time − paused time) that
// starts with the first frame. A frame is stamped with when its picture was on screen and
// written on the take's grid of 1/fps slots; audio is placed by its capture stamps, so a
// picture plays with the sound heard while it was shown. Audio that arrives before the
// first frame (even before `begin`) is held and its part from that frame on is kept, and
// `finish` waits for the sound that the capture sources still owe up to the last frame.
// While recording the movie is a hidden fragmented MP4 beside the take; `finish` turns it into
// the take with its moov at the front. Every call but `begin` and `finish` returns at once:
// the work runs on the "vorn.writer" thread, and frames that find the writer behind are
// dropped and counted.
class Recorder {
 public:
  // Creates the writer for the take at `path`, claiming that name (or, when another take
  // claims it at the same instant, the first free one beside it: see `path`). Throws
  // std::runtime_error with one sentence when it cannot be created (something already has
  // that name, the folder is not writable…).
  Recorder(const QString& path, int fps, bool hasMic, bool hasSystem);
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;
  // Cancels the take unless it was finished.
  ~Recorder();

  // Starts the session at `hostTime` (media time): frames from then on are written. Logs
  // "Vorn: writer failed to start: …" and returns false when writing cannot start (or the
  // recorder was begun already). Call before any frame.
  bool begin(double hostTime);
  // `hostTime`: when the picture the frame shows was on screen.
  void appendVideo(ConstFrameRef frame, double hostTime);
  void appendAudio(AudioRef sample, double hostPTS, bool system);
  void pause(double hostTime);
  void resume(double hostTime);
  // Blocks until the take is on disk; returns its written duration in seconds (last frame −
  // first frame, pauses excluded); 0 when no frame was written (its files are then removed).
  // Keep feeding audio until it returns: it first waits, briefly, for sound up to the last
  // frame (at most `soundWait` seconds: a microphone being closed sends nothing more). A take
  // stopped early by a full disk keeps what was written and returns its duration.
  double finish(double soundWait = std::numeric_limits<double>::infinity());
  // Abandons the take and deletes its files (on the writer thread, right after what is queued).
  void cancel();
  // Blocks until the writer has handled everything queued so far (tests, benchmarks).
  void drain();

  // The buffers the render loop renders into (1080 × 1920 BGRA).
  std::shared_ptr<FramePool> pool() const { return pool_; }
  // Frames turned away because the writer was behind: some of the missing frames.
  int droppedFrames() const { return dropped_.load(); }
  // After `finish`: the frame slots between the take's first and last frame that hold no
  // frame (dropped here, or never composed because the render loop was held up). The one
  // count of dropped frames shown anywhere.
  long missingFrames() const { return lastSlot_ + 1 - writtenFrames_; }
  // How long the take is so far, from its first picture to its last; any thread.
  double secondsSoFar() const { return double(shownSlot_.load()) / fps_; }
  const QString& encoderName() const { return encoderName_; }
  // Where the take is; after `finish`, where it went (a free name beside it when another
  // file took its name meanwhile).
  const QString& path() const { return path_; }
  // After `finish`: the hidden fragment kept because no take could be made of it ("" when
  // the take was saved or discarded).
  const QString& unfinishedAt() const { return unfinishedAt_; }
  // The sentence that says why the take stopped early ("" while all is well).
  QString failure() const { return failure_.get(); }
  // Called once, on the writer thread, when the take stops early (e.g. the disk is full).
  void setFailureHandler(std::function<void(const QString&)> handler);

 private:
  enum class Status { created, writing, failed, done };

  struct HeldAudio {
    AudioRef sample;
    double hostPTS;
    bool system;
  };

  // From the first written frame to the last, in seconds.
  double writtenSeconds() const { return double(lastSlot_) / fps_; }
  long slotFor(double pts) const;
  void writeVideo(const FrameBuffer& frame, double hostTime);
  void writeAudio(AudioRef sample, double hostPTS, bool system, double arrived);
  void holdAudio(AudioRef sample, double hostPTS, bool system);
  void placeAudio(const AudioBuffer& sample, double hostPTS, bool system);
  void awaitAudio(double until);
  double audioStillDue() const;
  void syncToDiskNowAndThen(double pts);
  void stopAfterFailure();
  double saveTake();
  // Finds the fragment after its folder moved or went; false when it has no name any more.
  bool followFragment();
  void discardFiles();

  QString path_;  // writer thread only after construction
  QString fragment_;  // set at construction
  QString unfinishedAt_;  // writer thread only
  const bool hasMic_;
  const bool hasSystem_;
  const int fps_;
  const std::shared_ptr<FramePool> pool_;
  QString encoderName_;                // set at construction
  std::unique_ptr<TakeWriter> writer_;  // writer thread only after construction
  UniqueFd fragmentLock_;  // the fragment, locked; writer thread only after construction

  // The timeline: writer thread only. `start_` is when frames count from, `origin_` the
  // first written frame's time, the written zero.
  Status status_ = Status::created;
  std::optional<double> start_;
  std::optional<double> origin_;
  std::deque<HeldAudio> held_;  // audio that came before the first frame
  AudioArrivals arrivals_;
  double offset_ = 0;
  std::optional<double> pausedAt_;
  double lastPicture_ = 0;  // when the last written frame's picture was on screen
  long lastSlot_ = -1;      // the last written frame's slot; -1: none yet
  std::atomic<long> shownSlot_{0};  // lastSlot_, for other threads
  long writtenFrames_ = 0;
  double savedDuration_ = 0;  // a take saved after an early stop
  double lastDiskSync_ = 0;   // written time of the last push to disk

  std::function<void(const QString&)> failureHandler_;  // set before begin
  Locked<QString> failure_;
  std::atomic<int> queuedVideo_{0};
  std::atomic<int> queuedAudio_{0};
  std::atomic<int> droppedAudio_{0};
  std::atomic<int> dropped_{0};
  std::atomic<bool> syncPending_{false};
  // Counts the audio buffers written, for `finish` waiting on them.
  std::mutex audioMutex_;
  std::condition_variable audioWritten_;
  std::uint64_t audioWrites_ = 0;
  SerialQueue syncQueue_{"vorn.writer.sync"};
  SerialQueue queue_{"vorn.writer"};  // last: drains before the fields it uses go away
};

}  // namespace vorn
