// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/Locked.h"
#include "base/Rect.h"
#include "base/SerialQueue.h"
#include "capture/DeviceMonitor.h"
#include "capture/ScreenBackend.h"
#include "engine/Backends.h"
#include "engine/RecordingControl.h"
#include "engine/RenderInputs.h"
#include "engine/StudioWindows.h"
#include "model/Model.h"
#include "model/Prefs.h"

#include <QImage>
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

  // ---- Session.
  // Opens on `screenIndex` (into the RandR monitors) or, by default, on VORN_SCREEN or the
  // screen under the pointer.
  // The displays are listed in the background (a connection to the display server, or the
  // desktop's sharing dialog): the session opens when they come, and `opened` says so.
  void open(std::optional<size_t> screenIndex = std::nullopt);
  // Opens and runs the event loop until the session is open or could not be: for tests and
  // benchmarks. True when it is open.
  bool openAndWait(std::optional<size_t> screenIndex = std::nullopt);
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
  // The take's life from the countdown to its review.
  RecordingControl& recording() { return *recording_; }
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
  // An arrow key's move of the frame by (dx, dy) points: a whole drag, snapped and saved alike.
  void moveByKey(double dx, double dy);
  // The frame may be moved now: while framing, or while a take records in place.
  bool frameMovable() const;
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
  // Vorn's tray menu opened or closed.
  void setTrayMenuOpen(bool open);
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
  void setHome(const Rect& home) {
    home_ = home;
    keyDrag_.reset();
  }
  // The display's part that the desktop's panels leave free, in its points: the frame (and
  // the chips and buttons around it) keeps inside it.
  Rect workArea() const;
  RenderLoop* renderLoop() const { return loop_.get(); }
  // A picture of the session's screen at `scale`, taken in the background (a whole-screen copy
  // is slow) and handed to `done` on the GUI thread while `context` lives; a null picture when
  // the screen can't be read.
  void takeStill(QObject* context, double scale, std::function<void(QImage)> done);
  ScreenSource& screenSource() { return *screenSource_; }
  // Whether the takes leave Vorn's windows out; if not, they keep out of the capture area.
  bool ownWindowsLeftOut() const;
  // Where the studio's monitor stands (global points) while it is shown.
  std::optional<Rect> monitorShownAt() const { return windows_.monitor->shownAt(); }
  CameraSource& cameraSource() { return *cameraSource_; }
  // Where a take is played back.
  const std::shared_ptr<SoundServer>& soundServer() const { return sound_; }

  // The longest time between two ticks since the last reset, in seconds: how long the GUI
  // thread was held up (a tick is due every 16 ms).
  double longestTickGap() const { return longestGap_; }
  void resetTickGap() { longestGap_ = 0; }

 Q_SIGNALS:
  // The session opened, or did not: no display to capture (the user has been told why), or
  // closed while opening.
  void opened(bool ok);
  // The first composed frame of a session reached show().
  void firstFrame();
  // A suggested frame (display points) is being glided to.
  void suggested(const Rect& frame);
  // The devices have been listed and the camera and microphone chosen.
  void inputsConfigured();
  // A take could not start, or stopped early (it keeps what was written), or the screen
  // cannot be captured: one sentence saying why.
  void recordingFailed(const QString& sentence);

 private:
  void openOn(const std::vector<DisplayInfo>& displays, const std::optional<std::string>& unavailable,
              std::optional<size_t> screenIndex);
  void devicesChanged();
  void deviceLost(DeviceKind kind, const DeviceInfo& device);
  void startLink();
  void stopLink();
  void installEventMonitors();
  void startScreenCapture();
  void screenCaptureFailed(const std::string& why);
  // The screen can't be captured any more: a take stops there, keeping what was recorded.
  void screenLost(const QString& why);
  RecordingControl::Session recordingSession();
  void countPerf(bool tick);
  void saveNow();
  RenderInputs currentInputs() const;
  double aspect() const;
  Size screenSize() const;
  void glideTo(const Rect& target);
  // A drag's start without the Escape grab; the snap edges as they are now.
  void startPlacing();
  // The other applications' windows that meet `screen`, in its points.
  static std::vector<Rect> localWindows(const DesktopServices& desktop, const DisplayInfo& screen);
  void toFraming();
  // `home` in global points, for placing windows around it.
  Rect globalHome() const;

  Studio& studio_;
  ReelMaker* const reels_;
  DesktopServices desktop_;
  const std::shared_ptr<SoundServer> sound_;  // outlives every input
  // Where the sources' sound goes. Declared before the sources so that it outlives their
  // capture threads.
  std::unique_ptr<RecordingControl> recording_;
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

  // A session being opened: a newer open or a close makes an older listing void.
  unsigned openRun_ = 0;
  bool opening_ = false;
  std::optional<Take> reviewOnOpen_;
  DisplayInfo screen_;
  std::vector<DisplayInfo> displays_;
  Rect home_;
  bool dragging_ = false;
  Rect dragStart_;                    // the frame when the drag began
  std::shared_ptr<void> dragEscKey_;  // Escape, grabbed while dragging
  std::optional<Rect> homeGlide_;
  bool trayMenuOpen_ = false;
  struct KeyDrag {
    Rect pointer;  // where the frame would be without snapping
    Rect placed;   // where it was put
  };
  std::optional<KeyDrag> keyDrag_;  // the last arrow key's move
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
  QString cameraKey_, micKey_;
  bool micAuthorized_ = true;
  std::optional<DeviceInfo> activeMic_;
  std::set<QString> mutedMics_;
  bool sawFirstFrame_ = false;
  ConstFrameRef previewBuffer_;

  struct Perf {
    int ticks = 0;
    int shows = 0;
    double since = 0;
  } perf_;
};

}  // namespace vorn
