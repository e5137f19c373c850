// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/Locked.h"
#include "base/Rect.h"
#include "base/SerialQueue.h"
#include "capture/DeviceMonitor.h"
#include "capture/ScreenBackend.h"
#include "engine/Backends.h"
#include "engine/RenderInputs.h"
#include "engine/StudioWindows.h"
#include "model/Model.h"
#include "model/Prefs.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace vorn {

class CameraSource;
class Compositor;
class Recorder;
class ReelMaker;
class RenderLoop;
class ScreenSource;
class SystemAudioCapture;
class Studio;

// The session controller: owns the sources, the compositor, the render loop and the studio's
// windows; opens and closes sessions, runs the phase machine and places the capture frame.
// GUI thread only. Anything slow (starting sources, opening and finishing takes) runs in the
// background and comes back as an event, so the GUI thread never waits.
class Engine : public QObject {
  Q_OBJECT

 public:
  Engine(Studio& studio, ReelMaker* reels, Backends backends, StudioWindows windows);
  ~Engine() override;

  // Where takes go and which are kept, for callers other than the studio (`vorn record`).
  struct TakeOptions {
    std::optional<QString> path;  // none: the next name in the takes folder
    bool keepShort = false;       // keep takes under 0.7 s instead of trashing them
  };

  // ---- Session.
  // Opens on `screenIndex` (into the RandR monitors) or, by default, on VORN_SCREEN or the
  // screen under the pointer.
  void open(std::optional<size_t> screenIndex = std::nullopt);
  void close();
  void tick();
  void publishInputs();
  void show(const ConstFrameRef& frame);
  void prefsChanged(const Prefs& old, const Prefs& now);
  void setCompact(bool on);
  // The phase-dependent action of the hot key, the space key and the tray's "Record".
  void primaryAction();
  // The show action: a new session when idle, else the monitor to the front.
  void showStudio();
  // Turns what a studio or `vorn record` that died mid-take (or mid-mix) left in the takes
  // folder into whole takes, in the background, and names a recovered take in a toast.
  void recoverInterruptedTakes();

  // ---- Recording control.
  void beginCountdown();
  void cancelCountdown();
  void startRecording();
  void togglePause();
  void stopRecording();
  void restartTake();
  void retake();
  void review(const Take& take);
  void flash(const QString& text);
  void refreshDevices();
  void configureInputs();
  void replaceSilentMic();
  void resolveMicAccess();
  // Closes the session and waits (running the event loop) until a take being finished is
  // saved: quitting never loses a take.
  void closeAndWait();

  // ---- Frame placement.
  void restoreHome();
  void saveHome();
  void saveHomeSoon();
  void beginDrag();
  void drag(const Rect& to);
  void endDrag();
  // Gives the drag up: the frame goes back to where it began.
  void cancelDrag();
  void resize(Point anchor, Point toward);
  void scale(double factor);
  void zoomFrame();
  // Glides the frame over the most eye-catching part of the frontmost window, in the
  // background; the frame stays where it is when no suggestion can be made.
  void suggest();
  void fitHomeAspect();
  double idealHeight() const;
  void moveTo(const DisplayInfo& screen);
  // The rectangle being captured: the render loop's crop while recording and not dragging.
  Rect live() const;
  void handleClick(Point global);
  // A key pressed in the studio's key window; true when the studio used it. `inText`: the
  // focus is in a text field, which keeps its keys.
  bool handleKey(int qtKey, Qt::KeyboardModifiers modifiers, bool inText = false);

  // ---- State for the windows and tests.
  const DisplayInfo& screen() const { return screen_; }
  // The displays as the session last opened: the choice of where to move it.
  const std::vector<DisplayInfo>& displays() const { return displays_; }
  ReelMaker* reels() const { return reels_; }
  const Rect& home() const { return home_; }
  bool dragging() const { return dragging_; }
  bool snapped() const { return snapped_; }
  const std::optional<Rect>& homeGlide() const { return homeGlide_; }
  void setHome(const Rect& home) { home_ = home; }
  // The display's part that the desktop's panels leave free, in its points: the frame (and
  // the chips and buttons around it) keeps inside it.
  Rect workArea() const;
  RenderLoop* renderLoop() const { return loop_.get(); }
  ScreenSource& screenSource() { return *screenSource_; }
  // Whether the takes leave Vorn's windows out; if not, they keep out of the capture area.
  bool ownWindowsLeftOut() const;
  CameraSource& cameraSource() { return *cameraSource_; }
  // Where a take is played back.
  const std::shared_ptr<SoundServer>& soundServer() const { return sound_; }
  // The take being recorded (null otherwise): its path, for tests and diagnostics.
  std::shared_ptr<Recorder> recorder() const { return recorder_; }

  // The longest time between two ticks since the last reset, in seconds: how long the GUI
  // thread was held up (a tick is due every 16 ms).
  double longestTickGap() const { return longestGap_; }
  void resetTickGap() { longestGap_ = 0; }

  // One countdown step: a second, shortened by tests and `vorn record`.
  void setCountdownStep(int milliseconds) { countdownStepMs_ = milliseconds; }
  void setTakeOptions(TakeOptions options) { takeOptions_ = std::move(options); }
  // Frame slots of the last finished take that hold no frame of their own.
  long lastDroppedFrames() const { return lastDropped_; }

 Q_SIGNALS:
  // The first composed frame of a session reached show().
  void firstFrame();
  // A suggested frame (display points) is being glided to.
  void suggested(const Rect& frame);
  // A take has been saved (or discarded) and the phase has left `finishing`.
  void takeFinished();
  // The devices have been listed and the camera and microphone chosen.
  void inputsConfigured();
  // A take could not start, or stopped early (it keeps what was written), or the screen
  // cannot be captured: one sentence saying why.
  void recordingFailed(const QString& sentence);

 private:
  void devicesChanged();
  void deviceLost(DeviceKind kind, const DeviceInfo& device);
  void startLink();
  void stopLink();
  void installEventMonitors();
  void startScreenCapture();
  void screenCaptureFailed(const std::string& why);
  void countdownStep(int remaining, unsigned run);
  void prepareRecorder();
  void recorderReady(std::shared_ptr<Recorder> recorder, const std::string& error);
  void begun(bool ok);
  void abandonStart(const QString& reason);
  // What finishing a take gave: its duration, the frames it dropped, where it went, and the
  // hidden fragment kept when no take could be made of it.
  struct FinishedTake {
    double duration = 0;
    long dropped = 0;
    QString path;
    QString unfinishedAt;
  };
  void finished(const FinishedTake& result, bool hasMic);
  void recorderFailed(const QString& sentence);
  // The screen can't be captured any more: a take stops there, keeping what was recorded.
  void screenLost(const QString& why);
  void leaveRecording();
  // Stops the take and finishes it in the background, waiting at most `soundWait` seconds
  // for sound still on its way.
  void finishTake(double soundWait);
  static constexpr double kClosingSoundWait = 0.3;
  void countPerf(bool tick);
  void saveNow();
  RenderInputs currentInputs() const;
  double aspect() const;
  Size screenSize() const;
  void glideTo(const Rect& target);
  // The other applications' windows that meet `screen`, in its points.
  static std::vector<Rect> localWindows(const DesktopServices& desktop, const DisplayInfo& screen);
  void toFraming();
  // `home` in global points, for placing windows around it.
  Rect globalHome() const;

  Studio& studio_;
  ReelMaker* const reels_;
  DesktopServices desktop_;
  const std::shared_ptr<SoundServer> sound_;  // outlives every input
  // Where the sources' audio goes: the take while it is written. Declared before the sources
  // so that it outlives their capture threads.
  Locked<std::shared_ptr<Recorder>> audioTarget_;
  std::unique_ptr<ScreenSource> screenSource_;
  // What the computer plays, switched on "vorn.screen.life" with the session and the setting.
  std::unique_ptr<SystemAudioCapture> systemAudio_;
  // Starts and stops of the screen capture, in the order they were asked for (a quick close
  // and open must not start before it stops). After the source: ends before it goes.
  std::unique_ptr<SerialQueue> screenLife_;
  std::unique_ptr<CameraSource> cameraSource_;
  std::unique_ptr<Compositor> compositor_;
  StudioWindows windows_;
  std::unique_ptr<RenderLoop> loop_;  // after the sources: stops before they go
  std::unique_ptr<DeviceMonitor> devices_;
  std::optional<RenderInputs> published_;
  std::optional<DeviceInfo> defaultMic_;

  DisplayInfo screen_;
  std::vector<DisplayInfo> displays_;
  Rect home_;
  bool dragging_ = false;
  Rect dragStart_;                    // the frame when the drag began
  std::shared_ptr<void> dragEscKey_;  // Escape, grabbed while dragging
  std::optional<Rect> homeGlide_;
  Point clickPoint_;
  double clickTime_ = 0;
  std::vector<double> snapXs_, snapYs_;
  bool snapped_ = false;
  std::optional<Rect> unzoomed_;
  QTimer link_;
  QTimer saveTimer_;
  double lastTick_ = 0;
  double longestGap_ = 0;
  std::vector<std::shared_ptr<void>> eventMonitors_;
  std::shared_ptr<void> escKey_;
  QString cameraKey_, micKey_;
  bool micAuthorized_ = true;
  std::optional<DeviceInfo> activeMic_;
  std::set<QString> mutedMics_;
  bool sawFirstFrame_ = false;
  ConstFrameRef previewBuffer_;

  // Recording: the countdown run (a new run makes older steps void), the recorder being
  // prepared or written, and whether a take is being finished in the background.
  unsigned countdownRun_ = 0;
  int countdownStepMs_ = 1000;
  bool countdownOver_ = false;
  bool takeHasMic_ = false;
  std::shared_ptr<Recorder> recorder_;
  bool recorderPrepared_ = false;
  QString startError_;  // why the take file could not be made
  int finishing_ = 0;
  TakeOptions takeOptions_;
  long lastDropped_ = 0;

  struct Perf {
    int ticks = 0;
    int shows = 0;
    double since = 0;
  } perf_;
};

}  // namespace vorn
