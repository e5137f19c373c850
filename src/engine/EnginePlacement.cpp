// SPDX-License-Identifier: GPL-3.0-or-later
// The engine's side of the capture frame: where it starts, how gestures move it, how it
// glides and is saved, clicks for click zoom and the studio's keys.
#include "engine/Engine.h"

#include "base/Background.h"
#include "base/Clock.h"
#include "base/Log.h"
#include "capture/ScreenSource.h"
#include "desktop/ArrowStep.h"
#include "engine/HomeFrame.h"
#include "engine/RenderLoop.h"
#include "engine/Suggest.h"
#include "engine/WorkArea.h"
#include "model/Studio.h"

namespace vorn {

Size Engine::screenSize() const { return {screen_.rect.width, screen_.rect.height}; }

Rect Engine::workArea() const {
  const Rect free = workAreaOf(screen_);
  return {free.x - screen_.rect.x, free.y - screen_.rect.y, free.width, free.height};
}

double Engine::aspect() const { return HomeFrame::aspect(studio_.prefs()); }

double Engine::idealHeight() const { return HomeFrame::idealHeight(studio_.prefs()); }

Rect Engine::globalHome() const {
  return {screen_.rect.x + home_.x, screen_.rect.y + home_.y, home_.width, home_.height};
}

void Engine::restoreHome() { home_ = HomeFrame::restore(studio_.prefs(), screenSize()).clamped(workArea()); }

void Engine::saveHome() {
  saveTimer_.stop();
  const std::vector<double> saved = HomeFrame::fractions(home_, screenSize());
  if (saved.empty() || home_.isEmpty()) return;
  studio_.updatePrefs([&](Prefs& p) { p.home = saved; });
}

void Engine::saveHomeSoon() { saveTimer_.start(); }

void Engine::beginDrag() {
  startPlacing();
  // Escape puts the frame back where the drag began, wherever the keyboard is.
  if (desktop_.grabKey)
    dragEscKey_ = desktop_.grabKey(Qt::Key_Escape, Qt::NoModifier, [this] { cancelDrag(); });
}

void Engine::startPlacing() {
  dragging_ = true;
  snapped_ = false;
  homeGlide_.reset();
  dragStart_ = home_;
  keyDrag_.reset();
  const HomeFrame::SnapEdges edges = HomeFrame::snapEdges(screenSize(), localWindows(desktop_, screen_));
  snapXs_ = edges.xs;
  snapYs_ = edges.ys;
}

bool Engine::frameMovable() const {
  const Phase phase = studio_.phase();
  return phase == Phase::framing || (phase == Phase::recording && !studio_.prefs().follow);
}

// Each press is a whole drag, saved like one. Where the pointer would be carries over from
// press to press while nothing else moved the frame, so small steps leave a snap line as a
// pointer does instead of being pulled back onto it.
void Engine::moveByKey(double dx, double dy) {
  if (!frameMovable() || dragging_) return;
  const Rect from = keyDrag_ && keyDrag_->placed == home_ ? keyDrag_->pointer : home_;
  const Rect pointer = HomeFrame::clampedInto({from.x + dx, from.y + dy, from.width, from.height}, screenSize());
  startPlacing();
  drag(pointer);
  endDrag();
  keyDrag_ = KeyDrag{pointer, home_};
}

void Engine::drag(const Rect& to) {
  if (!dragging_) return;  // let go, or given up with Escape
  const HomeFrame::Placed placed = HomeFrame::drag(to, {snapXs_, snapYs_}, screenSize());
  snapped_ = placed.snapped;
  home_ = placed.rect.clamped(workArea());
}

void Engine::endDrag() {
  dragEscKey_.reset();
  if (!dragging_) return;
  dragging_ = false;
  snapped_ = false;
  saveHomeSoon();
}

void Engine::cancelDrag() {
  if (!dragging_) return;
  dragging_ = false;
  snapped_ = false;
  home_ = dragStart_;
  dragEscKey_.reset();
}

void Engine::resize(Point anchor, Point toward) {
  if (!dragging_) return;
  const HomeFrame::Placed placed =
      HomeFrame::resize(anchor, toward, aspect(), idealHeight(), screenSize());
  snapped_ = placed.snapped;
  home_ = placed.rect.clamped(workArea());
}

void Engine::scale(double factor) {
  home_ = HomeFrame::scaled(home_, factor, aspect(), screenSize()).clamped(workArea());
  homeGlide_.reset();
  saveHomeSoon();
}

void Engine::glideTo(const Rect& target) { homeGlide_ = target.clamped(workArea()); }

std::vector<Rect> Engine::localWindows(const DesktopServices& desktop, const DisplayInfo& screen) {
  std::vector<Rect> windows;
  if (desktop.otherWindows)
    for (const Rect& w : desktop.otherWindows())
      if (!w.intersected(screen.rect).isEmpty())
        windows.push_back({w.x - screen.rect.x, w.y - screen.rect.y, w.width, w.height});
  return windows;
}

void Engine::suggest() {
  if (studio_.phase() != Phase::framing) return;
  std::optional<Point> cursor;
  if (desktop_.pointer)
    if (const auto at = desktop_.pointer(); at && screen_.rect.contains(*at))
      cursor = Point{at->x - screen_.rect.x, at->y - screen_.rect.y};
  // The window list, the screenshot and the saliency all run off the GUI thread.
  inBackground(
      this,
      [desktop = desktop_, source = screenSource_.get(), screen = screen_, size = screenSize(),
       aspect = aspect(), ideal = idealHeight(), cursor] {
        const QImage shot = source->screenshot(screen, 0.5);
        if (shot.isNull()) throw std::runtime_error("no screenshot of the display");
        const std::vector<Rect> windows = localWindows(desktop, screen);
        std::vector<Suggest::Salient> objects;
        if (!windows.empty()) objects = Suggest::salientRegions(shot, size, windows.front());
        if (objects.empty()) objects = Suggest::salientRegions(shot, size);
        return Suggest::frame(windows, objects, size, aspect, ideal, cursor);
      },
      [this](Outcome<Rect> outcome) {
        if (!outcome.value) return logError("no frame suggested: " + outcome.error);
        if (studio_.phase() != Phase::framing) return;
        glideTo(*outcome.value);
        windows_.viewfinder->pulse(mediaTime() + 0.9);
        Q_EMIT suggested(*outcome.value);
      });
}

void Engine::zoomFrame() {
  if (unzoomed_ && std::abs(home_.height - idealHeight()) <= 2) {
    glideTo(HomeFrame::clampedInto(*unzoomed_, screenSize()));
    unzoomed_.reset();
  } else {
    unzoomed_ = home_;
    glideTo(HomeFrame::readable(home_, aspect(), idealHeight(), screenSize()));
  }
}

void Engine::fitHomeAspect() {
  if (screen_.rect.isEmpty()) return;
  home_ = HomeFrame::fitAspect(home_, aspect(), screenSize());
}

void Engine::moveTo(const DisplayInfo& screen) {
  if (studio_.phase() != Phase::framing || screen == screen_) return;
  saveHome();
  screen_ = screen;
  restoreHome();
  publishInputs();
  windows_.viewfinder->show(screen_);
  windows_.monitor->show(screen_, globalHome());
  stopLink();
  startLink();
  startScreenCapture();
}

Rect Engine::live() const {
  if (studio_.phase() == Phase::recording && !dragging_) {
    const Rect crop = loop_->live.get();
    if (!crop.isEmpty()) return crop;
  }
  return home_;
}

void Engine::setTrayMenuOpen(bool open) {
  trayMenuOpen_ = open;
  publishInputs();
}

void Engine::handleClick(Point global) {
  if (studio_.phase() != Phase::recording || !studio_.prefs().clickZoom) return;
  if (!screen_.rect.contains(global)) return;
  const Point local{global.x - screen_.rect.x, global.y - screen_.rect.y};
  if (!live().contains(local)) return;
  // A click on one of Vorn's windows over the area works the studio, not what is shown.
  if (const std::optional<PointerState> pointer = screenSource_->pointer.get(); pointer && pointer->overOwnWindow)
    return;
  if (trayMenuOpen_) return;
  clickPoint_ = local;
  clickTime_ = mediaTime();
  publishInputs();
}

bool Engine::handleKey(int qtKey, Qt::KeyboardModifiers modifiers, bool inText) {
  if (inText) return false;
  const Phase phase = studio_.phase();
  const bool control = modifiers.testFlag(Qt::ControlModifier);
  if (const std::optional<Point> step = arrowStep(qtKey, modifiers)) {
    if (!frameMovable()) return false;
    moveByKey(step->x, step->y);
    return true;
  }
  switch (qtKey) {
    case Qt::Key_W:
      if (!control || (phase != Phase::framing && phase != Phase::review)) return false;
      close();
      return true;
    case Qt::Key_P:
      recording_->togglePause();
      return phase == Phase::recording;
    case Qt::Key_M:
      if (!control) return false;
      setCompact(!studio_.compact());
      return true;
    case Qt::Key_Space:
      primaryAction();
      return true;
    case Qt::Key_Escape:
      // Escape only ever backs out of something under way; closing the studio is Ctrl+W.
      if (dragging_) cancelDrag();
      else if (phase == Phase::review) toFraming();
      else if (phase == Phase::countdown) recording_->cancelCountdown();
      else return false;
      return true;
    default:
      return false;
  }
}

}  // namespace vorn
