// SPDX-License-Identifier: GPL-3.0-or-later
// The engine's recording control: countdown, start, pause, stop, finishing, review, retake,
// and the choice of camera and microphone.
#include "engine/Engine.h"

#include "base/Background.h"
#include "base/Clock.h"
#include "base/Log.h"
#include "base/Trash.h"
#include "capture/CameraAccess.h"
#include "capture/CameraSource.h"
#include "engine/Clause.h"
#include "engine/RenderLoop.h"
#include "model/Studio.h"
#include "model/Takes.h"
#include "record/AudioFlattener.h"
#include "record/Recorder.h"
#include "record/TakeFiles.h"
#include "reels/ReelMaker.h"
#include "model/Geometry.h"

#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <limits>

namespace vorn {
namespace {

constexpr double kShortestTake = 0.7;
constexpr double kShortestReelTake = 8.0;
constexpr int kToastMs = 2400;

// Drops a recorder that will never be begun; its files go with it, off the GUI thread.
void discardInBackground(QObject* context, std::shared_ptr<Recorder> recorder) {
  if (!recorder) return;
  inBackground(context, [recorder = std::move(recorder)]() mutable {
    recorder->cancel();
    recorder.reset();
    return true;
  }, [](Outcome<bool>) {});
}

// PulseAudio names Bluetooth inputs after BlueZ.
bool isBluetooth(const DeviceInfo& mic) { return mic.id.startsWith(QStringLiteral("bluez_")); }

}  // namespace

void Engine::beginCountdown() {
  if (studio_.phase() != Phase::framing) return;
  const Prefs& prefs = studio_.prefs();
  if (prefs.layout != Layout::me && !studio_.screenAccess()) return;
  saveHome();
  takeHasMic_ = prefs.micOn && micAuthorized_ && activeMic_ && !cameraSource_->silent.get();
  if (prefs.micOn && !takeHasMic_)
    flash(studio_.mics().empty() ? QStringLiteral("No microphone: recording without sound.")
                                 : QStringLiteral("Recording without sound: Vorn can't use the microphone"));
  studio_.setPhase(Phase::countdown);
  studio_.setCountdown(3);
  if (reels_) reels_->pause();
  windows_.island->show();
  if (desktop_.grabKey)
    escKey_ = desktop_.grabKey(Qt::Key_Escape, Qt::NoModifier, [this] { cancelCountdown(); });
  const unsigned run = ++countdownRun_;
  countdownOver_ = false;
  prepareRecorder();
  countdownStep(3, run);
}

void Engine::countdownStep(int remaining, unsigned run) {
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
void Engine::prepareRecorder() {
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

void Engine::startRecording() {
  if (studio_.phase() != Phase::countdown || !countdownOver_) return;
  escKey_.reset();
  if (!recorderPrepared_) return;  // comes back here once the take file is ready
  if (!recorder_) {
    abandonStart(std::exchange(startError_, {}));
    return;
  }
  studio_.setRecordingHasMic(takeHasMic_);
  QPointer<Engine> self(this);
  recorder_->setFailureHandler([self](const QString& sentence) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), [self, sentence] {
      if (self) self->recorderFailed(sentence);
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
                   return abandonStart(QStringLiteral("The take could not be started."));
                 loop_->recorder.set(recorder_);
                 studio_.setRecordStart(mediaTime());
                 studio_.setPausedAt(std::nullopt);
                 studio_.setPausedTotal(0);
                 studio_.setPhase(Phase::recording);
                 publishInputs();
               });
}

void Engine::abandonStart(const QString& reason) {
  audioTarget_.set(nullptr);
  discardInBackground(this, std::exchange(recorder_, nullptr));
  escKey_.reset();
  studio_.setPhase(Phase::framing);
  windows_.island->fadeOut();
  if (reels_) reels_->resume();
  Q_EMIT recordingFailed(reason);
  flash(QStringLiteral("Couldn't start recording"));
}

void Engine::cancelCountdown() {
  if (studio_.phase() != Phase::countdown) return;
  ++countdownRun_;
  escKey_.reset();
  discardInBackground(this, std::exchange(recorder_, nullptr));
  studio_.setPhase(Phase::framing);
  windows_.island->fadeOut();
  if (reels_) reels_->resume();
}

void Engine::togglePause() {
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
  publishInputs();
}

void Engine::leaveRecording() {
  loop_->recorder.set(nullptr);
}

void Engine::stopRecording() { finishTake(std::numeric_limits<double>::infinity()); }

void Engine::finishTake(double soundWait) {
  if (studio_.phase() != Phase::recording) return;
  leaveRecording();
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

void Engine::finished(const FinishedTake& result, bool hasMic) {
  --finishing_;
  lastDropped_ = result.dropped;
  windows_.island->fadeOut();
  if (reels_) reels_->resume();
  if (!result.unfinishedAt.isEmpty()) {
    const QString sentence =
        QStringLiteral("The take couldn't be finished: it is kept at %1.").arg(result.unfinishedAt);
    logError(sentence.toStdString());
    Q_EMIT recordingFailed(sentence);
    flash(sentence);
  }
  if (studio_.phase() == Phase::finishing) {
    const double duration = result.duration;
    if (duration <= 0 || (duration < kShortestTake && !takeOptions_.keepShort)) {
      // Only a short take of ours goes to the trash; a file under the name is someone else's.
      if (duration > 0) moveToTrash(result.path);
      if (!takeOptions_.keepShort && result.unfinishedAt.isEmpty())
        flash(QStringLiteral("Too short, discarded"));
      studio_.setPhase(Phase::framing);
    } else {
      const Take take{QUrl::fromLocalFile(result.path), duration};
      studio_.setTake(take);
      studio_.setPhase(Phase::review);
      setCompact(false);  // a finished take is always seen at full size
      windows_.monitor->bringToFront();
      const Prefs& prefs = studio_.prefs();
      if (reels_ && ReelMaker::isAvailable() && prefs.reels.value_or(true) && duration >= kShortestReelTake) {
        if (hasMic) reels_->make(take, prefs.brief.value_or(QString()));
        else flash(QStringLiteral("No reel: this take has no voice."));
      }
    }
  }
  Q_EMIT takeFinished();
}

void Engine::recorderFailed(const QString& sentence) {
  logError(sentence.toStdString());
  Q_EMIT recordingFailed(sentence);
  flash(sentence);
  stopRecording();  // keeps what was written
}

void Engine::screenLost(const QString& why) {
  if (studio_.phase() != Phase::recording) return;
  recorderFailed(QStringLiteral("The screen can't be captured any more, so the take was stopped there: %1.")
                     .arg(asClause(why)));
}

void Engine::restartTake() {
  if (studio_.phase() == Phase::countdown) return cancelCountdown();
  if (studio_.phase() != Phase::recording) return;
  leaveRecording();
  audioTarget_.set(nullptr);
  discardInBackground(this, std::exchange(recorder_, nullptr));
  studio_.setPhase(Phase::framing);
  windows_.island->fadeOut();
  if (reels_) reels_->resume();
  beginCountdown();
}

void Engine::retake() {
  if (const std::optional<Take> take = studio_.take()) {
    if (reels_) reels_->discard(*take);
    if (QFile::exists(take->url.toLocalFile()) && moveToTrash(take->url.toLocalFile()))
      flash(QStringLiteral("Moved to Trash"));
  }
  toFraming();
}

void Engine::review(const Take& take) {
  if (studio_.phase() == Phase::idle) open();
  studio_.setTake(take);
  studio_.setPhase(Phase::review);
  windows_.monitor->bringToFront();
}

void Engine::recoverInterruptedTakes() {
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
      flash(QStringLiteral("Recovered the interrupted take “%1”.").arg(QFileInfo(recovered[0]).fileName()));
    else if (recovered.size() > 1)
      flash(QStringLiteral("Recovered %1 interrupted takes.").arg(recovered.size()));
  });
}

void Engine::flash(const QString& text) {
  studio_.setToast(text);
  QTimer::singleShot(kToastMs, this, [this, text] {
    if (studio_.toast() == text) studio_.setToast(std::nullopt);
  });
}

void Engine::closeAndWait() {
  close();
  while (finishing_ > 0)
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
}

// ---- Inputs and devices.

void Engine::refreshDevices() {
  struct Devices {
    std::vector<DeviceInfo> cameras, mics;
    std::optional<DeviceInfo> defaultMic;
    std::optional<QString> cameraProblem;
  };
  inBackground(this, [source = cameraSource_.get()] {
    // Asked for by name, the sample camera is all the camera needed.
    std::optional<QString> problem = source->offersSampleCamera() ? std::nullopt : cameraProblem();
    return Devices{source->cameras(), source->mics(), source->defaultMic(), std::move(problem)};
  }, [this](Outcome<Devices> outcome) {
    if (!outcome.value) return logError("device list failed: " + outcome.error);
    studio_.setCameraProblem(outcome.value->cameraProblem);
    studio_.setCameras(outcome.value->cameras);
    studio_.setMics(outcome.value->mics);
    defaultMic_ = outcome.value->defaultMic;
    if (studio_.phase() != Phase::idle) configureInputs();
    Q_EMIT inputsConfigured();
  });
}

void Engine::configureInputs() {
  const Prefs& prefs = studio_.prefs();
  const Slots slots = Geometry::slots(prefs);
  std::optional<DeviceInfo> camera;
  if (prefs.cameraOn && slots.camera) {
    for (const DeviceInfo& c : studio_.cameras())
      if (prefs.cameraID && c.id == *prefs.cameraID) camera = c;
    if (!camera && !studio_.cameras().empty()) camera = studio_.cameras().front();
  }
  std::optional<DeviceInfo> mic;
  if (prefs.micOn) {
    const auto usable = [this](const DeviceInfo& m) { return !mutedMics_.contains(m.id); };
    for (const DeviceInfo& m : studio_.mics())
      if (prefs.micID && m.id == *prefs.micID && usable(m)) mic = m;
    if (!mic && defaultMic_ && usable(*defaultMic_)) mic = defaultMic_;
    for (const DeviceInfo& m : studio_.mics())
      if (!mic && usable(m)) mic = m;
  }
  studio_.setActiveCamera(camera ? camera->name : QString());
  studio_.setMicName(mic ? mic->name : QString());
  activeMic_ = mic;
  const QString cameraKey = camera ? camera->id : QStringLiteral("-");
  const QString micKey = mic ? mic->id : QStringLiteral("-");
  if (cameraKey == cameraKey_ && micKey == micKey_) return;
  cameraKey_ = cameraKey;
  micKey_ = micKey;
  cameraSource_->configure(camera, mic);
}

void Engine::replaceSilentMic() {
  const Prefs& prefs = studio_.prefs();
  if (!prefs.micOn || !micAuthorized_ || !activeMic_ || !isBluetooth(*activeMic_) ||
      !cameraSource_->silent.get())
    return;
  const DeviceInfo silent = *activeMic_;
  logError((silent.name + " sends only silence; setting it aside until a device reconnects").toStdString());
  mutedMics_.insert(silent.id);
  configureInputs();
  if (activeMic_ && activeMic_->id != silent.id)
    flash(silent.name + QStringLiteral(" isn't sending sound. Using ") + activeMic_->name);
}

// No permission prompt stands between Vorn and PulseAudio: the microphone is always allowed.
void Engine::resolveMicAccess() {
  micAuthorized_ = true;
  studio_.setMicAccess(true);
  configureInputs();
}

}  // namespace vorn
