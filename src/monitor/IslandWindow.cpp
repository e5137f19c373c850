#include "monitor/IslandWindow.h"

#include "base/Clock.h"
#include "capture/ScreenSource.h"
#include "desktop/OverlayPanel.h"
#include "engine/Engine.h"
#include "monitor/IslandView.h"

namespace vorn {

IslandWindow::IslandWindow(Studio& studio, X11Desktop* desktop) : studio_(studio), desktop_(desktop) {
  panel_ = std::make_unique<OverlayPanel>(desktop_, OverlayPanel::islandLevel);
  panel_->setWindowTitle(QStringLiteral("Vorn island"));
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
  const Rect& screen = engine_->screen().rect;
  // No camera housing on these screens: the island hangs from the top edge, centred.
  panel_->setGeometry(int(screen.x + screen.width / 2 - IslandView::size.width() / 2.0), int(screen.y),
                      IslandView::size.width(), IslandView::size.height());
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

void IslandWindow::tick() {
  if (!view_->tick(mediaTime())) return;
  // Only the drawn parts are shown (no black box without a compositor) and take the mouse.
  const QRegion drawn = view_->drawnRegion();
  if (drawn == panel_->mask()) return;
  panel_->setMask(drawn);
  panel_->setInputRegion({drawn.begin(), drawn.end()});
}

}  // namespace vorn
