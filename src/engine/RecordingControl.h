// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/AudioBuffer.h"
#include "base/Locked.h"
#include "desktop/DesktopServices.h"
#include "engine/StudioWindows.h"
#include "model/Model.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace vorn {

class Recorder;
class ReelMaker;
class Studio;

// The life of a take: the countdown, the recorder (of which it is the only owner), pause,
// stop, finishing in the background, and the hand-off to the review and the reel queue. The
// render loop and the sound inputs reach the take only through what it installs. GUI thread
// only, but for `appendAudio`.
class RecordingControl : public QObject {
  Q_OBJECT

 public:
  // Where takes go and which are kept, for callers other than the studio (`vorn record`).
  struct TakeOptions {
    std::optional<QString> path;  // none: the next name in the takes folder
    bool keepShort = false;       // keep takes under 0.7 s instead of trashing them
  };

  // What a take needs of the session around it.
  struct Session {
    std::function<void(const QString&)> toast;
    // The phase changed what the render loop is to do.
    std::function<void()> phaseChanged;
    // The frame is final for the take: its place is saved.
    std::function<void()> framed;
    // Whether the microphone can be in the take: on, allowed, chosen and sending sound.
    std::function<bool()> micReady;
    // The finished take is shown at the monitor's full size, in front.
    std::function<void()> showReview;
    // The recorder the render loop writes frames into, or none.
    std::function<void(std::shared_ptr<Recorder>)> feedFrames;
  };

  RecordingControl(Studio& studio, ReelMaker* reels, const DesktopServices& desktop, IslandPanel& island,
                   Session session);
  ~RecordingControl() override;

  void beginCountdown();
  void cancelCountdown();
  void togglePause();
  void stop();
  // Throws the take away and counts down again.
  void restart();
  // Trashes the reviewed take and goes back to framing.
  void retake();
  // A take stops early, keeping what was written, and says why.
  void fail(const QString& sentence);
  // The session closes: a take stops with only a short wait for sound still on its way, a
  // countdown is called off.
  void closeSession();
  // Runs the event loop until no take is being finished.
  void waitForFinishing();
  // Turns what a studio or `vorn record` that died mid-take (or mid-mix) left in the takes
  // folder into whole takes, in the background, and names a recovered take in a toast.
  void recoverInterruptedTakes();

  // Sound from a capture thread, for the take being written; dropped when there is none.
  void appendAudio(const AudioRef& buffer, bool system);

  // One countdown step: a second, shortened by tests and `vorn record`.
  void setCountdownStep(int milliseconds) { countdownStepMs_ = milliseconds; }
  void setTakeOptions(TakeOptions options) { takeOptions_ = std::move(options); }
  // The take being recorded (null otherwise): its path, for tests and diagnostics.
  std::shared_ptr<Recorder> recorder() const { return recorder_; }
  // Frame slots of the last finished take that hold no frame of their own.
  long lastDroppedFrames() const { return lastDropped_; }

 Q_SIGNALS:
  // A take has been saved (or discarded) and the phase has left `finishing`.
  void takeFinished();
  // A take could not start, or stopped early (it keeps what was written): one sentence.
  void recordingFailed(const QString& sentence);

 private:
  // What finishing a take gave: its duration, the frames it dropped, where it went, and the
  // hidden fragment kept when no take could be made of it.
  struct FinishedTake {
    double duration = 0;
    long dropped = 0;
    QString path;
    QString unfinishedAt;
  };

  void countdownStep(int remaining, unsigned run);
  void prepareRecorder();
  void startRecording();
  void abandonStart(const QString& reason);
  // Back to framing from a countdown or a take that is thrown away.
  void backToFraming();
  // Stops the take and finishes it in the background, waiting at most `soundWait` seconds
  // for sound still on its way.
  void finishTake(double soundWait);
  void finished(const FinishedTake& result, bool hasMic);
  void handOver(const FinishedTake& result, bool hasMic);

  Studio& studio_;
  ReelMaker* const reels_;
  const DesktopServices& desktop_;
  IslandPanel& island_;
  const Session session_;

  // Where the sources' sound goes: the take while it is written, and finished.
  Locked<std::shared_ptr<Recorder>> audioTarget_;
  std::shared_ptr<Recorder> recorder_;
  // The countdown run: a new run makes older steps void.
  unsigned countdownRun_ = 0;
  int countdownStepMs_ = 1000;
  bool countdownOver_ = false;
  bool takeHasMic_ = false;
  bool recorderPrepared_ = false;
  QString startError_;  // why the take file could not be made
  std::shared_ptr<void> escKey_;
  int finishing_ = 0;
  TakeOptions takeOptions_;
  long lastDropped_ = 0;
};

}  // namespace vorn
