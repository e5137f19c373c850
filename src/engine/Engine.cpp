// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/Engine.h"

#include "base/Background.h"
#include "base/Clock.h"
#include "base/Log.h"
#include "capture/CameraSource.h"
#include "capture/DeviceMonitor.h"
#include "capture/ScreenSource.h"
#include "capture/SystemAudioCapture.h"
#include "capture/PlatformText.h"
#include "engine/Clause.h"
#include "engine/HomeFrame.h"
#include "engine/RenderLoop.h"
#include "model/Studio.h"
#include "render/Compositor.h"
#include "model/Geometry.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QPointer>
#include <QThreadPool>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace vorn {
namespace {

constexpr int kToastMs = 2400;

bool debugging() {
  static const bool on = std::getenv("VORN_DEBUG") != nullptr;
  return on;
}

// VORN_SCREEN: a decimal index (an optional sign allowed) into the list of screens.
std::optional<size_t> screenFromEnvironment(size_t count) {
  const char* value = std::getenv("VORN_SCREEN");
  if (!value || !*value) return std::nullopt;
  bool ok = false;
  const long long index = QByteArray(value).toLongLong(&ok);
  if (!ok || index < 0 || size_t(index) >= count) return std::nullopt;
  return size_t(index);
}

}  // namespace

Engine::Engine(Studio& studio, ReelMaker* reels, Backends backends, StudioWindows windows)
    : studio_(studio),
      reels_(reels),
      desktop_(std::move(backends.desktop)),
      sound_(std::move(backends.sound)),
      screenSource_(std::make_unique<ScreenSource>(std::move(backends.screen))),
      // Audio goes from the capture threads straight to the take, never through the GUI thread.
      systemAudio_(std::make_unique<SystemAudioCapture>(*sound_, [this](AudioRef buffer) {
        recording_->appendAudio(buffer, true);
      })),
      screenLife_(std::make_unique<SerialQueue>("vorn.screen.life")),
      cameraSource_(std::make_unique<CameraSource>(*sound_, std::move(backends.sampleCamera))),
      compositor_(std::make_unique<Compositor>()),
      windows_(std::move(windows)) {
  // Every window of this process, menus and tool tips included, stays out of the takes.
  screenSource_->leaveOut(backends.own);
  loop_ = std::make_unique<RenderLoop>(*compositor_, *screenSource_, *cameraSource_);
  loop_->onFrame = [this](ConstFrameRef frame) { show(frame); };
  screenSource_->onStopped = [this](const std::string& why) {
    QMetaObject::invokeMethod(this, [this, why] { screenLost(platformText(why)); },
                              Qt::QueuedConnection);
  };
  screenSource_->onFailing = [this](const std::string& why) {
    QMetaObject::invokeMethod(this, [this, why] {
      flash(tr("The screen isn't updating: %1.").arg(asClause(platformText(why))));
    }, Qt::QueuedConnection);
  };
  recording_ = std::make_unique<RecordingControl>(studio_, reels_, desktop_, *windows_.island, recordingSession());
  connect(recording_.get(), &RecordingControl::recordingFailed, this, &Engine::recordingFailed);
  cameraSource_->onMic = [this](AudioRef buffer) { recording_->appendAudio(buffer, false); };
  studio_.onPrefsChange = [this](const Prefs& old, const Prefs& now) { prefsChanged(old, now); };

  link_.setTimerType(Qt::PreciseTimer);
  link_.setInterval(16);
  connect(&link_, &QTimer::timeout, this, &Engine::tick);
  saveTimer_.setSingleShot(true);
  saveTimer_.setInterval(400);
  connect(&saveTimer_, &QTimer::timeout, this, &Engine::saveHome);

  const auto connected = [this](DeviceKind, const DeviceInfo&) {
    QMetaObject::invokeMethod(this, [this] { devicesChanged(); }, Qt::QueuedConnection);
  };
  const auto disconnected = [this](DeviceKind kind, const DeviceInfo& device) {
    QMetaObject::invokeMethod(this, [this, kind, device] {
      deviceLost(kind, device);
      devicesChanged();
    }, Qt::QueuedConnection);
  };
  devices_ = std::make_unique<DeviceMonitor>(*sound_, connected, disconnected);
}

Engine::~Engine() {
  studio_.onPrefsChange = nullptr;
  devices_.reset();
  stopLink();
  loop_->stop();
  // Background work holds raw pointers to the sources: let it end first.
  QThreadPool::globalInstance()->waitForDone();
}

void Engine::devicesChanged() {
  mutedMics_.clear();
  if (studio_.phase() != Phase::idle) refreshDevices();
}

// A device in use that goes away mid-session: the take goes on with what is left (another
// device, or none), and the user hears of it once.
void Engine::deviceLost(DeviceKind kind, const DeviceInfo& device) {
  if (studio_.phase() == Phase::idle) return;
  const bool inUse = kind == DeviceKind::mic ? activeMic_ && activeMic_->id == device.id
                                             : cameraKey_ == device.id;
  if (!inUse) return;
  const QString name = device.name.isEmpty() ? device.id : device.name;
  logError(std::string(kind == DeviceKind::mic ? "microphone" : "camera") + " lost: " +
           name.toStdString());
  flash(tr("%1 was disconnected").arg(name));
}

// ---- Session.

void Engine::open(std::optional<size_t> screenIndex) {
  if (studio_.phase() != Phase::idle || opening_) return;
  opening_ = true;
  const unsigned run = ++openRun_;
  ScreenSource* source = screenSource_.get();
  QPointer<Engine> self(this);
  // On the queue that starts and stops the capture: after a stop still under way.
  screenLife_->async([source, self, run, screenIndex] {
    std::vector<DisplayInfo> displays = source->displays();
    std::optional<std::string> why = displays.empty() ? source->unavailable() : std::nullopt;
    QMetaObject::invokeMethod(QCoreApplication::instance(), [=] {
      if (self && run == self->openRun_) self->openOn(displays, why, screenIndex);
    }, Qt::QueuedConnection);
  });
}

bool Engine::openAndWait(std::optional<size_t> screenIndex) {
  QEventLoop wait;
  connect(this, &Engine::opened, &wait, &QEventLoop::quit);
  open(screenIndex);
  if (opening_) wait.exec();
  return studio_.phase() != Phase::idle;
}

void Engine::openOn(const std::vector<DisplayInfo>& displays, const std::optional<std::string>& unavailable,
                    std::optional<size_t> screenIndex) {
  opening_ = false;
  displays_ = displays;
  if (displays.empty()) {
    reviewOnOpen_.reset();
    logError("capture failed: " + unavailable.value_or("no display to capture"));
    flash(unavailable ? platformText(*unavailable) : tr("No screen to record"));
    Q_EMIT opened(false);
    return;
  }
  std::optional<size_t> chosen = screenIndex && *screenIndex < displays.size()
                                     ? screenIndex
                                     : screenFromEnvironment(displays.size());
  if (!chosen && desktop_.pointer)
    if (const auto at = desktop_.pointer())
      for (size_t i = 0; i < displays.size() && !chosen; ++i)
        if (displays[i].rect.contains(*at)) chosen = i;
  screen_ = displays[chosen.value_or(0)];
  sawFirstFrame_ = false;

  studio_.setPhase(Phase::framing);
  restoreHome();
  refreshDevices();
  windows_.viewfinder->show(screen_);
  windows_.monitor->show(screen_, globalHome());
  startLink();
  installEventMonitors();
  startScreenCapture();
  windows_.monitor->bringToFront();
  if (const std::optional<Take> take = std::exchange(reviewOnOpen_, std::nullopt)) review(*take);
  Q_EMIT opened(true);
}

void Engine::close() {
  ++openRun_;
  reviewOnOpen_.reset();
  if (std::exchange(opening_, false)) Q_EMIT opened(false);
  if (studio_.phase() == Phase::idle) return;
  recording_->closeSession();
  saveHome();
  studio_.setPhase(Phase::idle);
  studio_.setTake(std::nullopt);
  stopLink();
  loop_->stop();
  eventMonitors_.clear();
  windows_.viewfinder->fadeOut();
  windows_.monitor->hide();
  windows_.island->fadeOut();
  cameraSource_->stop();
  cameraKey_.clear();
  micKey_.clear();
  ScreenSource* source = screenSource_.get();
  SystemAudioCapture* systemAudio = systemAudio_.get();
  screenLife_->async([source, systemAudio] {
    source->stop();
    systemAudio->setEnabled(false);
  });
}

void Engine::startLink() {
  lastTick_ = mediaTime();
  publishInputs();
  loop_->start();
  link_.start();
}

void Engine::stopLink() { link_.stop(); }

void Engine::installEventMonitors() {
  eventMonitors_.clear();
  if (desktop_.watchClicks)
    if (auto monitor = desktop_.watchClicks([this](Point at) { handleClick(at); }))
      eventMonitors_.push_back(std::move(monitor));
}

void Engine::startScreenCapture() {
  ScreenSource* source = screenSource_.get();
  const uint32_t id = screen_.id;
  SystemAudioCapture* systemAudio = systemAudio_.get();
  const bool withSystemAudio = studio_.prefs().systemAudio;
  QPointer<Engine> self(this);
  screenLife_->async([source, id, systemAudio, withSystemAudio, self] {
    systemAudio->setEnabled(withSystemAudio);
    try {
      source->start(id);
    } catch (const std::exception& error) {
      QMetaObject::invokeMethod(QCoreApplication::instance(), [self, why = std::string(error.what())] {
        if (self) self->screenCaptureFailed(why);
      }, Qt::QueuedConnection);
    }
  });
}

void Engine::screenCaptureFailed(const std::string& why) {
  logError("capture failed: " + why);
  Q_EMIT recordingFailed(tr("The screen can't be captured: %1").arg(platformText(why)));
  flash(tr("Vorn can't capture the screen"));
}

void Engine::tick() {
  countPerf(true);
  const double now = mediaTime();
  const double dt = now - std::exchange(lastTick_, now);
  longestGap_ = std::max(longestGap_, dt);
  fitHomeAspect();
  if (homeGlide_) {
    const HomeFrame::GlideStep step = HomeFrame::glide(home_, *homeGlide_, dt);
    home_ = step.rect;
    if (step.arrived) {
      homeGlide_.reset();
      saveHome();
    }
  }
  publishInputs();

  const float level = cameraSource_->level.get();
  if (std::abs(level - studio_.micLevel()) > 0.03f) studio_.setMicLevel(level);
  replaceSilentMic();
  const Prefs& prefs = studio_.prefs();
  const bool heard = !prefs.micOn || !micAuthorized_ || !cameraSource_->silent.get();
  if (micAuthorized_ && heard != studio_.micAccess()) studio_.setMicAccess(heard);
  windows_.viewfinder->update(now);
}

RenderInputs Engine::currentInputs() const {
  const Prefs& p = studio_.prefs();
  const Phase phase = studio_.phase();
  RenderInputs in;
  in.home = home_;
  in.dragging = dragging_;
  in.recording = phase == Phase::recording;
  in.live = phase == Phase::countdown || phase == Phase::recording;
  in.writing = phase == Phase::recording && !studio_.isPaused();
  in.follow = p.follow;
  in.clickZoom = p.clickZoom;
  in.mirror = p.mirror;
  in.fps = int(p.fps);
  in.previewScale = std::clamp(windows_.monitor->previewWidth() / Geometry::canvasWidth, 0.1, 1.0);
  in.slots = Geometry::slots(p);
  in.aspect = aspect();
  in.displaySize = {screen_.rect.width, screen_.rect.height};
  in.displayOrigin = {screen_.rect.x, screen_.rect.y};
  in.clickPoint = clickPoint_;
  in.clickTime = clickTime_;
  in.workArea = workArea();
  in.trayMenuOpen = trayMenuOpen_;
  return in;
}

void Engine::publishInputs() {
  const RenderInputs in = currentInputs();
  // Written only when something changed: the render loop then skips an unchanged preview.
  if (published_ && *published_ == in) return;
  published_ = in;
  loop_->inputs.set(in);
}

void Engine::show(const ConstFrameRef& frame) {
  countPerf(false);
  previewBuffer_ = frame;
  windows_.monitor->showFrame(frame);
  if (!sawFirstFrame_ && studio_.phase() != Phase::idle) {
    sawFirstFrame_ = true;
    Q_EMIT firstFrame();
  }
}

void Engine::prefsChanged(const Prefs& old, const Prefs& now) {
  if (old.systemAudio != now.systemAudio && studio_.phase() != Phase::idle) {
    SystemAudioCapture* systemAudio = systemAudio_.get();
    screenLife_->async([systemAudio, on = now.systemAudio] { systemAudio->setEnabled(on); });
  }
  if (old.layout != now.layout || old.cameraOn != now.cameraOn || old.micOn != now.micOn ||
      old.cameraID != now.cameraID || old.micID != now.micID)
    configureInputs();
  windows_.viewfinder->setNeedsDisplay();
}

void Engine::setCompact(bool on) {
  if (studio_.phase() == Phase::idle || on == studio_.compact()) return;
  studio_.setCompact(on);
  windows_.monitor->changeForm(on, screen_);
}

void Engine::primaryAction() {
  switch (studio_.phase()) {
    case Phase::idle: open(); break;
    case Phase::framing: recording_->beginCountdown(); break;
    case Phase::countdown: recording_->cancelCountdown(); break;
    case Phase::recording: recording_->stop(); break;
    case Phase::finishing: break;
    case Phase::review: toFraming(); break;
  }
}

void Engine::showStudio() {
  if (studio_.phase() == Phase::idle) return open();
  windows_.monitor->bringToFront();
}

void Engine::toFraming() {
  studio_.setTake(std::nullopt);
  studio_.setPhase(Phase::framing);
}

void Engine::countPerf(bool tick) {
  if (!debugging()) return;
  const double now = mediaTime();
  if (perf_.since == 0) perf_.since = now;
  (tick ? perf_.ticks : perf_.shows)++;
  const double span = now - perf_.since;
  if (span < 2) return;
  logLine("Vorn ui: ticks " + std::to_string(perf_.ticks / span) + "/s, preview " +
          std::to_string(perf_.shows / span) + "/s, longest tick gap " +
          std::to_string(int(longestGap_ * 1000)) + " ms");
  longestGap_ = 0;
  perf_ = {0, 0, now};
}

RecordingControl::Session Engine::recordingSession() {
  RecordingControl::Session session;
  session.toast = [this](const QString& text) { flash(text); };
  session.phaseChanged = [this] { publishInputs(); };
  session.framed = [this] { saveHome(); };
  session.micReady = [this] { return micAuthorized_ && activeMic_ && !cameraSource_->silent.get(); };
  session.showReview = [this] {
    setCompact(false);  // a finished take is always seen at full size
    windows_.monitor->bringToFront();
  };
  session.feedFrames = [this](std::shared_ptr<Recorder> recorder) { loop_->recorder.set(std::move(recorder)); };
  return session;
}

void Engine::screenLost(const QString& why) {
  if (studio_.phase() != Phase::recording) return;
  recording_->fail(tr("The screen can't be captured any more, so the take was stopped there: %1.")
                       .arg(asClause(why)));
}

void Engine::review(const Take& take) {
  if (studio_.phase() == Phase::idle) {
    reviewOnOpen_ = take;
    return open();
  }
  studio_.setTake(take);
  studio_.setPhase(Phase::review);
  windows_.monitor->bringToFront();
}

void Engine::flash(const QString& text) {
  studio_.setToast(text);
  QTimer::singleShot(kToastMs, this, [this, text] {
    if (studio_.toast() == text) studio_.setToast(std::nullopt);
  });
}

void Engine::closeAndWait() {
  close();
  recording_->waitForFinishing();
}

void Engine::takeStill(QObject* context, double scale, std::function<void(QImage)> done) {
  inBackground(context, [source = screenSource_.get(), screen = screen_, scale] { return source->screenshot(screen, scale); },
               [done = std::move(done)](Outcome<QImage> shot) { done(shot.value.value_or(QImage())); });
}

bool Engine::ownWindowsLeftOut() const { return screenSource_->leavesOutOwnWindows(); }

}  // namespace vorn
