// SPDX-License-Identifier: GPL-3.0-or-later
#include "viewfinder/Viewfinder.h"

#include "desktop/OverlayBackend.h"
#include "desktop/OverlayPanel.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "model/Geometry.h"
#include "viewfinder/DimView.h"
#include "viewfinder/FrameView.h"

#include <QApplication>
#include <QBitmap>
#include <QCoreApplication>
#include <QCursor>

#include <algorithm>

namespace vorn {
namespace {

// The dim stays this far under a studio window's edge: the window's antialiased rim and
// rounded corners then blend with dimmed pixels, never with an undimmed line around it.
constexpr int kUndimmedInset = 2;

QRectF toQt(const Rect& r) { return {r.x, r.y, r.width, r.height}; }

}  // namespace

Viewfinder::Viewfinder(Studio& studio, OverlayBackend* overlays) : studio_(studio), overlays_(overlays) {}

Viewfinder::~Viewfinder() = default;

void Viewfinder::attach(Engine& engine) {
  engine_ = &engine;
  dimPanel_ = std::make_unique<OverlayPanel>(overlays_, OverlayPanel::dimLevel);
  dimView_ = new DimView(*dimPanel_);
  framePanel_ = std::make_unique<OverlayPanel>(overlays_, OverlayPanel::frameLevel);
  frameView_ = new FrameView(engine, studio_, framePanel_.get());
  dimPanel_->setWindowTitle(QCoreApplication::translate("Viewfinder", "Vorn viewfinder"));
  framePanel_->setWindowTitle(QCoreApplication::translate("Viewfinder", "Vorn frame"));
  for (OverlayPanel* panel : {dimPanel_.get(), framePanel_.get()}) {
    panel->setWindowOpacity(0);
    panel->winId();
    panel->setInputRegion({});
  }
  if (overlays_)
    QObject::connect(overlays_, &OverlayBackend::compositingChanged, framePanel_.get(),
                     [this](bool running) { compositorChanged(running); });
}

bool Viewfinder::compositing() const { return overlays_ && overlays_->compositing(); }

// Above the region where the chip and the grip have room below the display's top and any
// panel there, else below it where there is room above the bottom's, else inside.
ChipPlace Viewfinder::chipPlaceFor(const QRectF& f) const {
  const Rect area = engine_->workArea();
  const double top = screen_->rect.y + area.y;
  if (f.y() - FrameZones::top >= top) return ChipPlace::above;
  if (f.bottom() + FrameZones::top <= top + area.height) return ChipPlace::below;
  return ChipPlace::inside;
}

void Viewfinder::show(const DisplayInfo& screen) {
  if (!engine_) return;
  screen_ = screen;
  const QRectF bounds = toQt(screen.rect);
  dimPanel_->setGeometry(bounds.toAlignedRect());
  dimView_->setGeometry(0, 0, dimPanel_->width(), dimPanel_->height());
  if (!shown_) {
    frameAlpha_ = 0;
    dimView_->update(QRectF(), 0);  // fades in from nothing at the first tick
  }
  if (compositing()) dimPanel_->orderFront();
  shown_ = true;
}

void Viewfinder::fadeOut() {
  if (!engine_) return;
  shown_ = false;
  dimPanel_->fade(0, 0.25, [panel = dimPanel_.get()] { panel->hide(); });
  framePanel_->fade(0, 0.2, [panel = framePanel_.get()] { panel->hide(); });
  frameAlpha_ = 0;
}

void Viewfinder::setNeedsDisplay() {
  if (frameView_) frameView_->update();
}

bool Viewfinder::visible() const {
  const Phase phase = studio_.phase();
  return studio_.prefs().layout != Layout::me &&
         (phase == Phase::framing || phase == Phase::countdown || phase == Phase::recording);
}

bool Viewfinder::grabAllowed() const {
  const Phase phase = studio_.phase();
  return visible() && (phase == Phase::framing || (phase == Phase::recording && !studio_.prefs().follow));
}

bool Viewfinder::grabbableAt(QPointF mouse, const QRectF& f) const {
  if (engine_->dragging()) return true;
  if (!grabAllowed()) return false;
  if (FrameZones::bandOuter(f).contains(mouse) && !FrameZones::bandInner(f).contains(mouse)) return true;
  return studio_.phase() == Phase::framing &&
         FrameZones::chipStrip(f, chipPlace_, FrameView::chipWidth()).contains(mouse);
}

void Viewfinder::update(double now) {
  if (!shown_ || !engine_ || !screen_) return;
  const Rect live = engine_->live();
  const QRectF f(screen_->rect.x + live.x, screen_->rect.y + live.y, live.width, live.height);
  const bool isVisible = visible();

  const double alpha = isVisible ? 1 : 0;
  if (alpha != frameAlpha_) {
    frameAlpha_ = alpha;
    if (isVisible) framePanel_->orderFront();
    framePanel_->fade(alpha, 0.3);
  }
  placePanel(f);

  const Phase phase = studio_.phase();
  // After the take the desktop dims behind the studio, but not behind the file manager or
  // whatever else the user turns to.
  const bool studioInFront = QGuiApplication::applicationState() == Qt::ApplicationActive;
  if (isVisible)
    dimView_->update(f.translated(-screen_->rect.x, -screen_->rect.y), phase == Phase::recording ? 0.26 : 0.42);
  else
    dimView_->update(std::nullopt,
                     (phase == Phase::finishing || phase == Phase::review) && studioInFront ? 0.42 : 0);
  shapeDim();

  updateInput(f);
  const QPointF mouse = QCursor::pos();
  const bool grabbable = grabbableAt(mouse, f);
  if (grabbable && !engine_->dragging())
    frameView_->updateCursor(frameView_->mapFromGlobal(mouse));
  else if (wasGrabbable_)
    frameView_->setCursor(Qt::ArrowCursor);
  wasGrabbable_ = grabbable;

  FrameState state = stateFor(grabbable, mouse, f);
  state.pulse = FrameReadout::pulse(pulseUntil_, now);
  if (frameView_->setState(state) && !compositing()) shapeToStrokes();
  shapeFrame();
}

void Viewfinder::placePanel(const QRectF& f) {
  const ChipPlace place = chipPlaceFor(f);
  const QRectF exact = FrameZones::panel(f, place, FrameView::chipWidth());
  const QRect panel = exact.toAlignedRect();
  if (panel == framePanel_->geometry() && place == chipPlace_) return;
  chipPlace_ = place;
  framePanel_->setGeometry(panel);
  frameView_->setGeometry(0, 0, panel.width(), panel.height());
  // The region takes up what aligning the panel to whole points added.
  frameView_->setRegion(f.size() + (QSizeF(panel.size()) - exact.size()), place);
  if (!compositing()) shapeToStrokes();
}

// The edge band and, while framing, the chip strip take the mouse; the inside of the frame
// never does, so clicks there reach the application being recorded.
void Viewfinder::updateInput(const QRectF& f) {
  const bool allowed = grabAllowed();
  if (allowed == inputAllowed_ && f == inputFor_) return;
  inputAllowed_ = allowed;
  inputFor_ = f;
  if (!allowed) return framePanel_->setInputRegion({});
  const QPointF origin = framePanel_->geometry().topLeft();
  const QRectF local = f.translated(-origin);
  const QRect outer = FrameZones::bandOuter(local).toAlignedRect();
  const QRect inner = FrameZones::bandInner(local).toRect();
  std::vector<QRect> band{
      {outer.left(), outer.top(), outer.width(), inner.top() - outer.top()},
      {outer.left(), inner.bottom() + 1, outer.width(), outer.bottom() - inner.bottom()},
      {outer.left(), inner.top(), inner.left() - outer.left(), inner.height()},
      {inner.right() + 1, inner.top(), outer.right() - inner.right(), inner.height()}};
  if (studio_.phase() == Phase::framing)
    band.push_back(FrameZones::chipStrip(local, chipPlace_, FrameView::chipWidth()).toAlignedRect());
  framePanel_->setInputRegion(band);
}

FrameState Viewfinder::stateFor(bool grabbable, QPointF mouse, const QRectF& f) const {
  const Prefs& prefs = studio_.prefs();
  FrameState s;
  s.phase = studio_.phase();
  s.paused = studio_.pausedAt().has_value();
  // Where the take cannot leave the frame panel out, nothing is drawn inside the region: the
  // island counts down instead, and a drag mid-take shows no guides.
  const bool insideFree = engine_->ownWindowsLeftOut();
  s.countdown = s.phase == Phase::countdown && insideFree ? studio_.countdown() : 0;
  if (s.countdown) s.covered = studioRegion_.translated(-framePanel_->pos());
  s.dragging = engine_->dragging();
  s.hover = grabbable;
  const Slots slots = Geometry::slots(prefs);
  s.points = FrameReadout::points(f.width(), slots.screen ? slots.screen->width : Geometry::canvasWidth);
  s.safe = FrameReadout::safeFractions(prefs);
  if (s.dragging && (insideFree || s.phase != Phase::recording))
    s.ideal = FrameReadout::idealRatio(engine_->idealHeight(), f.height());
  if (grabbable && !s.dragging)
    s.hint = FrameZones::hint(frameView_->zones().zone(frameView_->mapFromGlobal(mouse)));
  else if (s.phase == Phase::framing && !studio_.learnedFrame())
    s.hint = FrameZones::firstRunHint();
  s.gripHot = s.dragging || s.hint == FrameZones::hint({FrameZones::Kind::body});
  s.rail = !compositing() && (grabbable || s.dragging);
  s.railInside = insideFree || s.phase != Phase::recording;
  return s;
}

void Viewfinder::compositorChanged(bool running) {
  // Without a compositor translucency turns black: no dimming, and the frame panel keeps only
  // the pixels it draws.
  if (running) {
    shapeFrame();
    if (shown_) dimPanel_->orderFront();
    if (frameAlpha_ > 0) framePanel_->orderFront();
  } else {
    dimPanel_->hide();
    shapeToStrokes();
  }
}

// The phone shows what viewers will see, and the studio's buttons must not look disabled: the
// dim leaves Vorn's other panels (the monitor, the island) out; menus open above it. Its hole
// is cut out of the window too, so the grab sees no window of Vorn's over the capture area.
QRegion Viewfinder::studioWindows() const {
  QRegion clear;
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (!window->isVisible() || !OverlayPanel::undimmed(window)) continue;
    // A shaped window (the island, the monitor's rounded body) keeps clear only what it
    // draws; its mask, rounded outwards, may reach a point past the window itself.
    const QRegion mask = window->mask();
    const QRect body = window->frameGeometry().adjusted(kUndimmedInset, kUndimmedInset, -kUndimmedInset, -kUndimmedInset);
    clear += mask.isEmpty() ? QRegion(body) : mask.translated(window->pos()) & body;
  }
  return clear;
}

void Viewfinder::shapeDim() {
  studioRegion_ = studioWindows();
  QRegion clear = studioRegion_.translated(-dimPanel_->pos());
  if (const std::optional<QRectF>& hole = dimView_->hole()) clear += hole->toRect();
  if (clear == dimClear_) return;
  dimClear_ = clear;
  if (clear.isEmpty())
    dimPanel_->clearMask();
  else
    dimPanel_->setMask(QRegion(dimPanel_->rect()) - clear);
  // What the mask gives back (a window that left) comes back empty, undimmed: draw it again.
  dimView_->QWidget::update();
}

void Viewfinder::shapeToStrokes() {
  if (!frameView_ || frameView_->width() <= 0) return;
  const QImage drawn = frameView_->grab().toImage();
  strokes_ = QRegion(QBitmap::fromImage(drawn.createAlphaMask()));
  shapeFrame();
}

// Window managers keep unmanaged panels above managed windows whatever their levels: the
// frame's strokes, chip and countdown would be drawn over the monitor. Cut out instead.
void Viewfinder::shapeFrame() {
  const QRect all = framePanel_->rect();
  const QRegion drawn = compositing() ? QRegion(all) : strokes_;
  const QRegion shape = drawn - studioRegion_.translated(-framePanel_->pos());
  if (shape == frameShape_) return;
  frameShape_ = shape;
  if (shape == QRegion(all))
    framePanel_->clearMask();
  else
    framePanel_->setMask(shape);
  frameView_->update();
}

}  // namespace vorn
