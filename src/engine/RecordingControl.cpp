// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/RecordingControl.h"

#include "base/Background.h"
#include "base/Clock.h"
#include "base/Log.h"
#include "base/Trash.h"
#include "model/Studio.h"
#include "model/Takes.h"
#include "record/AudioFlattener.h"
#include "record/Recorder.h"
#include "record/TakeFiles.h"
#include "reels/ReelMaker.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QTimer>

#include <limits>

namespace vorn {
namespace {

constexpr double kShortestTake = 0.7;
constexpr double kShortestReelTake = 8.0;
// How long closing waits for sound still on its way: quitting takes well under a second.
constexpr double kClosingSoundWait = 0.3;

// Drops a recorder that will never be begun; its files go with it, off the GUI thread.
void discardInBackground(QObject* context, std::shared_ptr<Recorder> recorder) {
  if (!recorder) return;
  inBackground(context, [recorder = std::move(recorder)]() mutable {
    recorder->cancel();
    recorder.reset();
    return true;
  }, [](Outcome<bool>) {});
}

}  // namespace

RecordingControl::RecordingControl(Studio& studio, ReelMaker* reels, const DesktopServices& desktop,
                                   IslandPanel& island, Session session)
    : studio_(studio), reels_(reels), desktop_(desktop), island_(island), session_(std::move(session)) {}

RecordingControl::~RecordingControl() { audioTarget_.set(nullptr); }

void RecordingControl::appendAudio(const AudioRef& buffer, bool system) {
  if (auto recorder = audioTarget_.get()) recorder->appendAudio(buffer, buffer->pts, system);
}

void RecordingControl::beginCountdown() {
  if (studio_.phase() != Phase::framing) return;
  const Prefs& prefs = studio_.prefs();
  if (prefs.layout != Layout::me && !studio_.screenAccess()) return;
  session_.framed();
  takeHasMic_ = prefs.micOn && session_.micReady();
  if (prefs.micOn && !takeHasMic_)
    session_.toast(studio_.mics().empty()
                       ? tr("No microphone: recording without sound.")
                       : tr("Recording without sound: Vorn can't use the microphone"));
  studio_.setPhase(Phase::countdown);
  studio_.setCountdown(3);
  if (reels_) reels_->pause();
  island_.show();
  if (desktop_.grabKey)
    escKey_ = desktop_.grabKey(Qt::Key_Escape, Qt::NoModifier, [this] { cancelCountdown(); });
  const unsigned run = ++countdownRun_;
  countdownOver_ = false;
  prepareRecorder();
  countdownStep(3, run);
}

void RecordingControl::countdownStep(int remaining, unsigned run) {
  if (run != countdownRun_ || studio_.phase() != Phase::countdown) return;
  if (remaining == 0) {
    countdownOver_ = true;
    startRecording();
    return;
  }
  studio_.setCountdown(remaining);
  QTimer::singleShot(countdownStepMs_, Qt::PreciseTimer, this,
                     [this, remaining, run] { countdownStep(remaining - 1, run); });
}

// Opening the take file and probing the encoders take a while: done during the countdown.
void RecordingControl::prepareRecorder() {
  recorder_.reset();
  recorderPrepared_ = false;
  const Prefs& prefs = studio_.prefs();
  const int fps = int(prefs.fps);
  const bool hasMic = takeHasMic_;
  const bool hasSystem = prefs.systemAudio;
  const unsigned run = countdownRun_;
  const std::optional<QString> path = takeOptions_.path;
  inBackground(
      this,
      [fps, hasMic, hasSystem, path] {
        // Not value_or: naming a take in the takes folder creates that folder.
        return std::make_shared<Recorder>(path ? *path : Takes::nextURL().toLocalFile(), fps, hasMic, hasSystem);
      },
      [this, run](Outcome<std::shared_ptr<Recorder>> outcome) {
        std::shared_ptr<Recorder> recorder = outcome.value.value_or(nullptr);
        if (run != countdownRun_ || studio_.phase() != Phase::countdown) {
          discardInBackground(this, std::move(recorder));
          return;
        }
        if (!recorder) {
          logError("writer failed to start: " + outcome.error);
          startError_ = QString::fromStdString(outcome.error);
        }
        recorder_ = std::move(recorder);
        recorderPrepared_ = true;
        if (countdownOver_) startRecording();
      });
}

void RecordingControl::startRecording() {
  if (studio_.phase() != Phase::countdown || !countdownOver_) return;
  escKey_.reset();
  if (!recorderPrepared_) return;  // comes back here once the take file is ready
  if (!recorder_) {
    abandonStart(std::exchange(startError_, {}));
    return;
  }
  studio_.setRecordingHasMic(takeHasMic_);
  QPointer<RecordingControl> self(this);
  recorder_->setFailureHandler([self](const QString& sentence) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), [self, sentence] {
      if (self) self->fail(sentence);
    }, Qt::QueuedConnection);
  });
  std::shared_ptr<Recorder> recorder = recorder_;
  // The sound captured at the start may reach the take before it has begun: it holds it.
  audioTarget_.set(recorder);
  const double now = mediaTime();
  const unsigned run = countdownRun_;
  inBackground(this, [recorder, now] { return recorder->begin(now); },
               [this, run](Outcome<bool> outcome) {
                 if (run != countdownRun_ || studio_.phase() != Phase::countdown) return;
                 if (!outcome.value.value_or(false))
                   return abandonStart(tr("The take could not be started."));
                 session_.feedFrames(recorder_);
                 studio_.setRecordStart(mediaTime());
                 studio_.setPausedAt(std::nullopt);
                 studio_.setPausedTotal(0);
                 studio_.setPhase(Phase::recording);
                 session_.phaseChanged();
               });
}

void RecordingControl::abandonStart(const QString& reason) {
  backToFraming();
  Q_EMIT recordingFailed(reason);
  session_.toast(tr("Couldn't start recording"));
}

void RecordingControl::cancelCountdown() {
  if (studio_.phase() != Phase::countdown) return;
  backToFraming();
}

void RecordingControl::backToFraming() {
  ++countdownRun_;
  escKey_.reset();
  session_.feedFrames(nullptr);
  audioTarget_.set(nullptr);
  discardInBackground(this, std::exchange(recorder_, nullptr));
  studio_.setPhase(Phase::framing);
  island_.fadeOut();
  if (reels_) reels_->resume();
}

void RecordingControl::togglePause() {
  if (studio_.phase() != Phase::recording || !recorder_) return;
  const double now = mediaTime();
  if (const auto pausedAt = studio_.pausedAt()) {
    studio_.setPausedTotal(studio_.pausedTotal() + now - *pausedAt);
    studio_.setPausedAt(std::nullopt);
    recorder_->resume(now);
  } else {
    studio_.setPausedAt(now);
    recorder_->pause(now);
  }
  session_.phaseChanged();
}

void RecordingControl::stop() { finishTake(std::numeric_limits<double>::infinity()); }

void RecordingControl::closeSession() {
  if (studio_.phase() == Phase::recording) finishTake(kClosingSoundWait);
  cancelCountdown();
}

void RecordingControl::finishTake(double soundWait) {
  if (studio_.phase() != Phase::recording) return;
  session_.feedFrames(nullptr);
  studio_.setPhase(Phase::finishing);
  std::shared_ptr<Recorder> recorder = std::exchange(recorder_, nullptr);
  const bool hasMic = takeHasMic_;
  const bool flatten = hasMic && studio_.prefs().systemAudio;
  // The sound still on its way up to the last frame goes on reaching the take while it finishes.
  Locked<std::shared_ptr<Recorder>>* audioTarget = &audioTarget_;
  ++finishing_;
  inBackground(
      this,
      [recorder, flatten, audioTarget, soundWait] {
        const double duration = recorder->finish(soundWait);
        audioTarget->testAndSet(recorder, nullptr);
        if (duration > 0 && flatten) {
          try {
            AudioFlattener::flatten(recorder->path());
          } catch (const std::exception& error) {
            logError(std::string("the two audio tracks were kept apart: ") + error.what());
          }
        }
        // A take that stopped early has said where it is already.
        const QString unfinishedAt = recorder->failure().isEmpty() ? recorder->unfinishedAt() : QString();
        return FinishedTake{duration, recorder->missingFrames(), recorder->path(), unfinishedAt};
      },
      [this, path = recorder->path(), hasMic](Outcome<FinishedTake> outcome) {
        if (!outcome.value) logError("finishing the take failed: " + outcome.error);
        finished(outcome.value.value_or(FinishedTake{0, 0, path, {}}), hasMic);
      });
}

void RecordingControl::finished(const FinishedTake& result, bool hasMic) {
  --finishing_;
  lastDropped_ = result.dropped;
  island_.fadeOut();
  if (reels_) reels_->resume();
  if (!result.unfinishedAt.isEmpty()) {
    const QString sentence =
        tr("The take couldn't be finished: it is kept at %1.").arg(result.unfinishedAt);
    logError(sentence.toStdString());
    Q_EMIT recordingFailed(sentence);
    session_.toast(sentence);
  }
  if (studio_.phase() == Phase::finishing) handOver(result, hasMic);
  Q_EMIT takeFinished();
}

// A take long enough goes to the review and, with a voice, to the reel queue; a short one
// (ours) goes to the trash.
void RecordingControl::handOver(const FinishedTake& result, bool hasMic) {
  const double duration = result.duration;
  if (duration <= 0 || (duration < kShortestTake && !takeOptions_.keepShort)) {
    // Only a short take of ours goes to the trash; a file under the name is someone else's.
    if (duration > 0) moveToTrash(result.path);
    if (!takeOptions_.keepShort && result.unfinishedAt.isEmpty())
      session_.toast(tr("Too short, discarded"));
    studio_.setPhase(Phase::framing);
    return;
  }
  const Take take{QUrl::fromLocalFile(result.path), duration};
  studio_.setTake(take);
  studio_.setPhase(Phase::review);
  session_.showReview();
  const Prefs& prefs = studio_.prefs();
  if (reels_ && ReelMaker::isAvailable() && prefs.reels.value_or(true) && duration >= kShortestReelTake) {
    if (hasMic) reels_->make(take, prefs.brief.value_or(QString()));
    else session_.toast(tr("No reel: this take has no voice."));
  }
}

void RecordingControl::fail(const QString& sentence) {
  logError(sentence.toStdString());
  Q_EMIT recordingFailed(sentence);
  session_.toast(sentence);
  stop();  // keeps what was written
}

void RecordingControl::restart() {
  if (studio_.phase() == Phase::countdown) return cancelCountdown();
  if (studio_.phase() != Phase::recording) return;
  backToFraming();
  beginCountdown();
}

void RecordingControl::retake() {
  if (const std::optional<Take> take = studio_.take()) {
    if (reels_) reels_->discard(*take);
    if (QFile::exists(take->url.toLocalFile()) && moveToTrash(take->url.toLocalFile()))
      session_.toast(tr("Moved to Trash"));
  }
  studio_.setTake(std::nullopt);
  studio_.setPhase(Phase::framing);
}

void RecordingControl::waitForFinishing() {
  while (finishing_ > 0)
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
}

void RecordingControl::recoverInterruptedTakes() {
  inBackground(this, [] {
    const QString folder = Takes::folderPath();
    if (!QFileInfo(folder).isDir()) return std::vector<QString>{};
    std::vector<QString> recovered = TakeFiles::recoverCrashedTakes(folder);
    AudioFlattener::finishInterrupted(folder);
    return recovered;
  }, [this](Outcome<std::vector<QString>> outcome) {
    if (!outcome.value) return logError("take recovery failed: " + outcome.error);
    const std::vector<QString>& recovered = *outcome.value;
    if (recovered.size() == 1)
      session_.toast(tr("Recovered the interrupted take “%1”.").arg(QFileInfo(recovered[0]).fileName()));
    else if (recovered.size() > 1)
      session_.toast(tr("Recovered %1 interrupted takes.").arg(recovered.size()));
  });
}

}  // namespace vorn
