// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/Recorder.h"

#include "base/Clock.h"
#include "base/Log.h"
#include "base/OwnFiles.h"
#include "record/TakeFiles.h"
#include "record/TakeWriter.h"
#include "record/VideoEncoder.h"

#include <QCoreApplication>
#include <QFile>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <set>
#include <stdexcept>
#include <unistd.h>

namespace vorn {
namespace {

// Frames waiting for the writer: enough to ride out a scheduling hiccup of about 100 ms at
// 60 fps on a busy machine; more would only delay the drop and hold more 8 MB buffers.
constexpr int maxQueuedVideo = 6;
// Besides the queued frames: one being composed, one on its way to the preview, one shown.
constexpr int maxFrames = maxQueuedVideo + 3;
// Audio buffers waiting: half a minute of 10 ms buffers from both sources (about 12 MB), so a
// writer held up by a slow disk or a starved machine loses no sound; beyond that the take is
// stuck anyway.
constexpr int maxQueuedAudio = 6000;
// Audio held before the first frame: enough for a source that hands over seconds at a time.
constexpr double maxHeldSeconds = 3.0;

std::string local(const QString& path) { return QFile::encodeName(path).toStdString(); }

// The takes under way in this process. Whichever way the process ends through exit() (Qt ends
// it so when the X server goes away, from the middle of its event loop), they are finished
// first: nothing that was recorded is left behind as a hidden fragment.
std::mutex underWayMutex;
std::set<Recorder*>& underWay() {
  static auto* recorders = new std::set<Recorder*>;  // never destroyed: used at exit
  return *recorders;
}

void finishUnderWay() {
  std::lock_guard lock(underWayMutex);
  for (Recorder* recorder : underWay()) recorder->finish(0);
}

void keepUnderWay(Recorder* recorder) {
  static std::once_flag registered;
  std::call_once(registered, [] { std::atexit(finishUnderWay); });
  std::lock_guard lock(underWayMutex);
  underWay().insert(recorder);
}

void letGo(Recorder* recorder) {
  std::lock_guard lock(underWayMutex);
  underWay().erase(recorder);
}

void logEncoderOnce(const std::string& name) {
  static std::once_flag once;
  std::call_once(once, [&] { logError("recording with " + name); });
}

}  // namespace

Recorder::Recorder(const QString& path, int fps, bool hasMic, bool hasSystem)
    : path_(path),
      hasMic_(hasMic),
      hasSystem_(hasSystem),
      fps_(fps),
      pool_(std::make_shared<FramePool>(VideoEncoder::width, VideoEncoder::height, 4, maxFrames)) {
  const QFileInfo folder(QFileInfo(path_).absolutePath());
  if (!folder.isDir())
    throw std::runtime_error("The folder " + local(folder.filePath()) + " doesn't exist.");
  if (!folder.isWritable())
    throw std::runtime_error("The folder " + local(folder.filePath()) + " isn't writable.");
  if (OwnFiles::taken(local(path_)))
    throw std::runtime_error("A file already exists at " + local(path_) + ".");
  TakeFiles::Claim claim = TakeFiles::claim(path_);
  path_ = claim.take;
  fragment_ = claim.fragment;
  try {
    writer_ = std::make_unique<TakeWriter>(claim.fragmentFd.get(), local(fragment_), fps, hasMic,
                                           hasSystem);
  } catch (...) {
    QFile::remove(fragment_);
    throw;
  }
  fragmentLock_ = std::move(claim.fragmentFd);
  encoderName_ = QString::fromStdString(writer_->encoderName());
}

Recorder::~Recorder() {
  letGo(this);
  queue_.sync([this] {
    if (status_ != Status::done && status_ != Status::failed) discardFiles();
    writer_.reset();
    syncQueue_.sync([] {});  // it may still use the descriptor closed next
    fragmentLock_.reset();
  });
}

void Recorder::setFailureHandler(std::function<void(const QString&)> handler) {
  failureHandler_ = std::move(handler);
}

bool Recorder::begin(double hostTime) {
  bool started = false;
  // On the writer thread, so an append queued too early sees a consistent timeline.
  queue_.sync([&] {
    if (status_ != Status::created) return;
    if (!writer_->start()) {
      const std::string reason = writer_->error().empty() ? "no reason given" : writer_->error();
      logError("writer failed to start: " + reason);
      status_ = Status::failed;
      discardFiles();
      return;
    }
    logEncoderOnce(writer_->encoderName());
    start_ = hostTime;
    lastDiskSync_ = hostTime;
    status_ = Status::writing;
    started = true;
  });
  if (started) keepUnderWay(this);
  return started;
}

void Recorder::appendVideo(ConstFrameRef frame, double hostTime) {
  if (!frame) return;
  if (queuedVideo_.fetch_add(1) >= maxQueuedVideo) {
    queuedVideo_.fetch_sub(1);
    dropped_.fetch_add(1);
    return;
  }
  queue_.async([this, frame = std::move(frame), hostTime] {
    writeVideo(*frame, hostTime);
    queuedVideo_.fetch_sub(1);
  });
}

void Recorder::appendAudio(AudioRef sample, double hostPTS, bool system) {
  if (!sample || !(system ? hasSystem_ : hasMic_)) return;
  if (queuedAudio_.fetch_add(1) >= maxQueuedAudio) {
    queuedAudio_.fetch_sub(1);
    droppedAudio_.fetch_add(1);
    return;
  }
  queue_.async([this, sample = std::move(sample), hostPTS, system, arrived = mediaTime()] {
    writeAudio(sample, hostPTS, system, arrived);
    queuedAudio_.fetch_sub(1);
  });
}

void Recorder::pause(double hostTime) {
  queue_.async([this, hostTime] {
    if (!pausedAt_) pausedAt_ = hostTime;
  });
}

void Recorder::resume(double hostTime) {
  queue_.async([this, hostTime] {
    // Whole frame slots, so the pictures after the pause stay on the take's grid.
    if (pausedAt_) offset_ += std::round((hostTime - *pausedAt_) * fps_) / fps_;
    pausedAt_.reset();
  });
}

double Recorder::finish(double soundWait) {
  awaitAudio(mediaTime() + soundWait);
  double duration = 0;
  queue_.sync([this, &duration] {
    if (status_ != Status::writing) {
      duration = savedDuration_;
      return;
    }
    status_ = Status::done;
    if (lastSlot_ < 0) {  // nothing to keep
      discardFiles();
      return;
    }
    duration = writtenSeconds();
    if (!writer_->finish(duration))
      logError("couldn't finish the take cleanly: " + writer_->error());
    duration = saveTake();
    // The same figure `vorn record` prints: the take's frames that are missing, for any reason.
    if (missingFrames() > 0)
      logError("the take dropped " + std::to_string(missingFrames()) + " frames");
    if (const int lost = droppedAudio_.load(); lost > 0)
      logError("the take lost " + std::to_string(lost) + " buffers of sound: its writer fell behind");
    const int dropped = dropped_.load();
    // A take that lost more than one frame in a hundred starts the next one a preset faster.
    if (duration > 0 && dropped > duration * fps_ * 0.01) VideoEncoder::stepFaster();
  });
  return duration;
}

void Recorder::cancel() {
  queue_.async([this] {
    if (status_ == Status::done) return;
    status_ = Status::done;
    discardFiles();
  });
}

void Recorder::drain() {
  queue_.sync([] {});
}

// Frames keep to the take's grid of 1/fps slots, each in the slot its picture's time falls in
// (a quarter slot early still counts: a picture grabbed a tick before its neighbours' phase
// keeps its place); one whose slot is taken already takes the next.
long Recorder::slotFor(double pts) const {
  if (!origin_) return 0;
  const long slot = long(std::floor((pts - *origin_) * fps_ + 0.25));
  return std::max(slot, lastSlot_ + 1);
}

void Recorder::writeVideo(const FrameBuffer& frame, double hostTime) {
  if (pausedAt_ || status_ != Status::writing) return;
  const double pts = hostTime - offset_;
  // A picture from before the take began, or older than the one written last.
  if (pts < *start_ || pts < lastPicture_) return;
  const long slot = slotFor(pts);
  const double seconds = double(slot) / fps_;
  switch (writer_->writeVideo(frame, seconds)) {
    case TakeWriter::Result::written:
      if (!origin_) {
        origin_ = pts;
        for (const HeldAudio& held : std::exchange(held_, {}))
          placeAudio(*held.sample, held.hostPTS, held.system);
      }
      lastSlot_ = slot;
      shownSlot_.store(slot);
      lastPicture_ = pts;
      ++writtenFrames_;
      syncToDiskNowAndThen(*origin_ + seconds);
      break;
    case TakeWriter::Result::dropped: break;
    case TakeWriter::Result::failed: stopAfterFailure(); break;
  }
}

// The fragments reach the page cache as they are written; pushing them to the disk every two
// seconds makes a power cut lose no more than a kill would. On its own thread, as a slow disk
// may take a while, and never more than one at a time.
void Recorder::syncToDiskNowAndThen(double pts) {
  if (!fragmentLock_.valid() || pts - lastDiskSync_ < 2.0 || syncPending_.exchange(true)) return;
  lastDiskSync_ = pts;
  syncQueue_.async([this, descriptor = fragmentLock_.get()] {
    ::fdatasync(descriptor);
    syncPending_ = false;
  });
}

void Recorder::writeAudio(AudioRef sample, double hostPTS, bool system, double arrived) {
  if (pausedAt_) return;
  arrivals_.arrived(system ? 1 : 0, arrived, hostPTS + sample->duration());
  if (status_ == Status::created || (status_ == Status::writing && !origin_))
    holdAudio(std::move(sample), hostPTS, system);
  else if (status_ == Status::writing)
    placeAudio(*sample, hostPTS, system);
  {
    std::lock_guard lock(audioMutex_);
    ++audioWrites_;
  }
  audioWritten_.notify_all();
}

void Recorder::holdAudio(AudioRef sample, double hostPTS, bool system) {
  held_.push_back({std::move(sample), hostPTS, system});
  while (held_.front().hostPTS < hostPTS - maxHeldSeconds) held_.pop_front();
}

// Sound from before the first frame is cut off there; the rest keeps its capture time.
void Recorder::placeAudio(const AudioBuffer& sample, double hostPTS, bool system) {
  const double seconds = hostPTS - offset_ - *origin_;
  if (seconds + sample.duration() <= 0) return;
  if (writer_->writeAudio(system, sample, seconds) == TakeWriter::Result::failed)
    stopAfterFailure();
}

// The capture sources deliver their sound a little (or, some, seconds) after it was captured:
// what is still on its way up to the last frame is waited for, as long as it keeps coming.
void Recorder::awaitAudio(double until) {
  for (;;) {
    double due = 0;
    std::uint64_t written = 0;
    queue_.sync([&] {
      due = audioStillDue();
      std::lock_guard lock(audioMutex_);
      written = audioWrites_;
    });
    due = std::min(due, until - mediaTime());
    if (due <= 0) return;
    std::unique_lock lock(audioMutex_);
    audioWritten_.wait_for(lock, std::chrono::duration<double>(due),
                           [&] { return audioWrites_ != written; });
  }
}

double Recorder::audioStillDue() const {
  if (status_ != Status::writing || lastSlot_ < 0 || pausedAt_) return 0;
  return arrivals_.stillDue(*origin_ + writtenSeconds() + offset_, mediaTime());
}

void Recorder::stopAfterFailure() {
  status_ = Status::failed;
  const std::string reason = writer_->error();
  const bool diskFull = writer_->diskFull();
  writer_->close();
  savedDuration_ = lastSlot_ >= 0 ? saveTake() : 0;
  if (lastSlot_ < 0) discardFiles();
  const QString why =
      diskFull ? QCoreApplication::translate("Recorder", "The disk is full: the take was stopped")
               : QCoreApplication::translate("Recorder", "The take stopped because it couldn't be written (%1)")
                     .arg(QString::fromStdString(reason));
  const QString sentence =
      savedDuration_ > 0 ? why + QCoreApplication::translate("Recorder", " and saved up to that point.")
      : !unfinishedAt_.isEmpty()
          ? why + QCoreApplication::translate("Recorder", " and is kept unfinished at %1.").arg(unfinishedAt_)
          : why + QCoreApplication::translate("Recorder", "; nothing of it could be saved.");
  failure_.set(sentence);
  // Said once: by whoever handles the failure, else here.
  if (failureHandler_)
    failureHandler_(sentence);
  else
    logError(sentence.toStdString());
}

// Turns the fragment into the take, under a free name beside it when another file took the
// take's name meanwhile. When that cannot be written (a full disk), the fragment itself becomes
// the take, cut after its last whole fragment so that everything it claims plays; when even
// that fails, the fragment stays.
// The take's folder may have been moved or removed while it recorded (the writer kept on
// through its descriptor): the fragment is followed to the folder's new place, or, with the
// folder gone, read through the descriptor and finished into the Videos folder.
bool Recorder::followFragment() {
  if (!fragmentLock_.valid()) return true;
  const std::string link = "/proc/self/fd/" + std::to_string(fragmentLock_.get());
  char target[4096];
  const ssize_t length = ::readlink(link.c_str(), target, sizeof target - 1);
  if (length <= 0) return true;
  const QString now = QFile::decodeName(QByteArray(target, int(length)));
  if (now == fragment_) return true;
  const QString name = QFileInfo(path_).fileName();
  if (!now.endsWith(QStringLiteral(" (deleted)"))) {
    fragment_ = now;
    path_ = QFileInfo(now).dir().filePath(name);
    logError("the takes folder moved during the take: it is saved in " + local(QFileInfo(now).path()));
    return true;
  }
  const QString videos = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
  if (videos.isEmpty() || !QDir().mkpath(videos)) return false;
  fragment_ = QString::fromStdString(link);
  path_ = QDir(videos).filePath(name);
  logError("the takes folder was removed during the take: it is saved in " + local(videos));
  return false;
}

double Recorder::saveTake() {
  const double duration = lastSlot_ >= 0 ? writtenSeconds() : 0;
  const bool fragmentNamed = followFragment();
  const QString wanted = path_;
  path_ = TakeFiles::freeName(wanted);
  if (path_ != wanted)
    logError("another file took the name " + local(wanted) + " during the take: saved as " + local(path_));
  try {
    TakeFiles::remux(fragment_, path_, duration, writer_->packetCount());
    if (fragmentNamed) QFile::remove(fragment_);
    return duration;
  } catch (const std::exception& error) {
    logError(std::string("couldn't finish the take, keeping it as recorded: ") + error.what());
  }
  if (!TakeFiles::cutToWholeFragments(fragment_)) {
    QFile::remove(fragment_);  // not one whole fragment: nothing plays
    return 0;
  }
  if (!QFile::rename(fragment_, path_)) {
    unfinishedAt_ = fragment_;
    return 0;
  }
  try {
    return TakeFiles::lastFrameSeconds(path_);
  } catch (const std::exception&) {
    return 0;
  }
}

void Recorder::discardFiles() {
  writer_.reset();
  QFile::remove(fragment_);
  QFile::remove(path_);
}

}  // namespace vorn
