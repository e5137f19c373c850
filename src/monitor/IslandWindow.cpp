// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/IslandWindow.h"

#include "base/Clock.h"
#include "desktop/OverlayPanel.h"
#include "engine/Engine.h"
#include "engine/WorkArea.h"
#include "monitor/IslandPlacement.h"
#include "monitor/IslandView.h"


#include <optional>

#include <QCoreApplication>

namespace vorn {

IslandWindow::IslandWindow(Studio& studio, OverlayBackend* overlays) : studio_(studio) {
  panel_ = std::make_unique<OverlayPanel>(overlays, OverlayPanel::islandLevel);
  panel_->setWindowTitle(QCoreApplication::translate("IslandWindow", "Vorn island"));
  OverlayPanel::keepUndimmed(panel_.get());
  panel_->resize(IslandView::size);
  view_ = new IslandView(studio_, panel_.get());
  panel_->setWindowOpacity(0);
  ticks_.setTimerType(Qt::PreciseTimer);
  ticks_.setInterval(16);
  QObject::connect(&ticks_, &QTimer::timeout, panel_.get(), [this] { tick(); });
}

IslandWindow::~IslandWindow() = default;

void IslandWindow::attach(Engine& engine) {
  engine_ = &engine;
  view_->attach(engine);
  panel_->winId();
}

void IslandWindow::show() {
  if (!engine_) return;
  place();
  tick();
  if (!shown_) panel_->setWindowOpacity(0);
  panel_->orderFront();
  panel_->fade(1, 0.3);
  shown_ = true;
  ticks_.start();
}

void IslandWindow::fadeOut() {
  if (!shown_) return;
  shown_ = false;
  panel_->fade(0, 0.25, [this] {
    ticks_.stop();
    panel_->hide();
  });
}

// No camera housing on these screens: the island hangs from the top of the usable area,
// centred, unless the take could not leave it out or the user put the monitor there.
void IslandWindow::place() {
  const Rect& screen = engine_->screen().rect;
  const Rect free = workAreaOf(engine_->screen());
  const QRect usable(int(free.x), int(free.y), int(free.width), int(free.height));
  std::optional<QRectF> avoid;
  if (!engine_->ownWindowsLeftOut()) {
    const Rect home = engine_->home();
    avoid = QRectF(screen.x + home.x, screen.y + home.y, home.width, home.height);
  }
  std::optional<QRect> monitor;
  if (const auto m = engine_->monitorShownAt())
    monitor = QRect(int(m->x), int(m->y), int(m->width), int(m->height));
  const QRect at = IslandPlacement::place(usable, IslandView::size, avoid, monitor);
  if (at != panel_->geometry()) panel_->setGeometry(at);
}

void IslandWindow::tick() {
  // A frame moved during the take (where the island must keep out of it), or the monitor
  // dragged under it, takes the island along.
  if (engine_) place();
  if (!view_->tick(mediaTime())) return;
  // Only the drawn parts are shown (no black box without a compositor) and take the mouse.
  const QRegion drawn = view_->drawnRegion();
  if (drawn == panel_->mask()) return;
  panel_->setMask(drawn);
  panel_->setInputRegion({drawn.begin(), drawn.end()});
}

}  // namespace vorn
