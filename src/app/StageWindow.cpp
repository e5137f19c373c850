// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/StageWindow.h"

#include "base/Clock.h"
#include "engine/Engine.h"
#include "monitor/IslandView.h"
#include "viewfinder/FramingBoard.h"

#include <QVBoxLayout>

namespace vorn {
namespace {

// The engine owns its panels; the stage owns the widgets. These hand the calls on.
class BoardPanel final : public ViewfinderPanels {
 public:
  explicit BoardPanel(FramingBoard& board) : board_(board) {}
  void show(const DisplayInfo& screen) override { board_.open(screen); }
  void fadeOut() override { board_.dismiss(); }
  void update(double now) override { board_.tick(now); }
  void setNeedsDisplay() override { board_.update(); }

 private:
  FramingBoard& board_;
};

}  // namespace

// The island's status and prompter, shown in the stage from the countdown until the take ends.
class StageWindow::Island final : public IslandPanel {
 public:
  explicit Island(IslandView& view) : view_(view) {
    ticks_.setTimerType(Qt::PreciseTimer);
    ticks_.setInterval(16);
    QObject::connect(&ticks_, &QTimer::timeout, &view_, [this] { view_.tick(mediaTime()); });
  }
  void show() override {
    view_.tick(mediaTime());
    view_.show();
    view_.window()->show();
    ticks_.start();
  }
  void fadeOut() override {
    ticks_.stop();
    view_.hide();
  }

 private:
  IslandView& view_;
  QTimer ticks_;
};

StageWindow::StageWindow(Studio& studio) : window_(std::make_unique<QWidget>()) {
  window_->setWindowTitle(QStringLiteral("Vorn"));
  window_->setStyleSheet(QStringLiteral("background: rgb(24, 24, 26);"));
  auto* column = new QVBoxLayout(window_.get());
  column->setContentsMargins(0, 0, 0, 0);
  board_ = new FramingBoard(studio, window_.get());
  island_ = new IslandView(studio, window_.get());
  island_->setFixedSize(IslandView::size);
  island_->hide();
  column->addWidget(board_, 1);
  column->addWidget(island_, 0, Qt::AlignHCenter);
  window_->resize(board_->size());
  viewfinder_ = std::make_unique<BoardPanel>(*board_);
  islandPanel_ = std::make_unique<Island>(*island_);
}

StageWindow::~StageWindow() = default;

void StageWindow::attach(Engine& engine) {
  board_->attach(engine);
  island_->attach(engine);
}

std::unique_ptr<ViewfinderPanels> StageWindow::takeViewfinder() { return std::move(viewfinder_); }

std::unique_ptr<IslandPanel> StageWindow::takeIsland() { return std::move(islandPanel_); }

}  // namespace vorn
