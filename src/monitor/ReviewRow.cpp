#include "monitor/ReviewRow.h"

#include "engine/Engine.h"
#include "model/Studio.h"
#include "monitor/TakeActions.h"
#include "reels/ReelMaker.h"

#include <QGridLayout>
#include <QPushButton>

namespace vorn {
namespace {

QPushButton* button(const QString& label, const QString& help, QWidget* parent) {
  auto* b = new QPushButton(label, parent);
  b->setToolTip(help);
  b->setFocusPolicy(Qt::TabFocus);
  b->setStyleSheet(QStringLiteral(
      "QPushButton { color: white; background: rgba(255,255,255,28); border: none; border-radius: 13px;"
      " padding: 5px 10px; } QPushButton:disabled { color: rgba(255,255,255,90); }"
      " QPushButton:focus { border: 1px solid white; }"));
  return b;
}

}  // namespace

ReviewRow::ReviewRow(Studio& studio, QWidget* parent) : QWidget(parent), studio_(studio) {
  auto* grid = new QGridLayout(this);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setSpacing(8);
  send_ = button(QStringLiteral("Send to Phone"), QStringLiteral("Send the reel to your phone and copy its caption (Ctrl+Return)"), this);
  send_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return));
  QPushButton* show = button(QStringLiteral("Show in Files"), QString(), this);
  copy_ = button(QStringLiteral("Copy"), QStringLiteral("Copy the file, then paste it into an upload box"), this);
  QPushButton* retake = button(QStringLiteral("Retake"), QStringLiteral("Retake (moves this take and its reel to the Trash)"), this);
  QPushButton* done = button(QStringLiteral("Done"), QStringLiteral("Done: the reel keeps cutting in the background"), this);
  grid->addWidget(send_, 0, 0, 1, 2);
  grid->addWidget(show, 1, 0);
  grid->addWidget(copy_, 1, 1);
  grid->addWidget(retake, 2, 0);
  grid->addWidget(done, 2, 1);

  connect(send_, &QPushButton::clicked, this, [this] {
    if (engine_ && engine_->reels() && studio_.take()) engine_->reels()->send(*studio_.take());
  });
  connect(show, &QPushButton::clicked, this, [this] {
    if (const QString file = item(); !file.isEmpty()) TakeActions::showInFiles(file);
  });
  connect(copy_, &QPushButton::clicked, this, [this] {
    if (const QString file = item(); !file.isEmpty()) {
      TakeActions::copyFile(file);
      copy_->setText(QStringLiteral("Copied"));
    }
  });
  connect(retake, &QPushButton::clicked, this, [this] { if (engine_) engine_->retake(); });
  connect(done, &QPushButton::clicked, this, [this] { if (engine_) engine_->primaryAction(); });
  connect(&studio_, &Studio::takeChanged, this, [this] { refresh(); });
  refresh();
}

void ReviewRow::attach(Engine& engine) {
  engine_ = &engine;
  if (ReelMaker* reels = engine.reels()) connect(reels, &ReelMaker::jobsChanged, this, [this] { refresh(); });
  refresh();
}

QString ReviewRow::item() const {
  if (!studio_.take()) return {};
  if (engine_ && engine_->reels() && engine_->reels()->showReel())
    if (const auto job = engine_->reels()->job(studio_.take()); job && job->video) return job->video->toLocalFile();
  return studio_.take()->url.toLocalFile();
}

void ReviewRow::refresh() {
  copy_->setText(QStringLiteral("Copy"));
  const auto job = engine_ && engine_->reels() ? engine_->reels()->job(studio_.take()) : std::nullopt;
  send_->setEnabled(job && job->video);
}

}  // namespace vorn
