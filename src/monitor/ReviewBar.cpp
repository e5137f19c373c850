// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/ReviewBar.h"

#include "engine/Engine.h"
#include "model/Studio.h"
#include "monitor/StatusText.h"
#include "monitor/TakeActions.h"
#include "reels/ReelMaker.h"
#include "model/Geometry.h"

#include <QClipboard>
#include <QFontMetrics>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace vorn {
namespace {

QPushButton* button(const QString& label, const QString& help, QWidget* parent) {
  auto* b = new QPushButton(label, parent);
  b->setToolTip(help);
  b->setAccessibleDescription(help);
  b->setFocusPolicy(Qt::TabFocus);
  b->setStyleSheet(QStringLiteral(
      "QPushButton { color: white; background: rgba(255,255,255,28); border: none; border-radius: 12px;"
      " padding: 5px 10px; } QPushButton:disabled { color: rgba(255,255,255,90); }"
      " QPushButton:focus { border: 1px solid white; }"));
  return b;
}

QLabel* line(int pixels, double opacity, QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setWordWrap(true);
  label->setStyleSheet(QStringLiteral("color: rgba(255,255,255,%1); font-size: %2px;").arg(int(opacity * 255)).arg(pixels));
  return label;
}

// As much of `text` as fits in `lines` word-wrapped lines `width` wide, ending in "…" when cut:
// a long caption shows its start whole instead of a clipped line; the link copies it all.
QString firstLines(const QString& text, const QFont& font, int width, int lines) {
  const QFontMetrics metrics(font);
  const auto fits = [&](const QString& candidate) {
    return metrics.boundingRect(QRect(0, 0, width, 10000), Qt::TextWordWrap, candidate).height() <=
           lines * metrics.lineSpacing();
  };
  if (width <= 0 || fits(text)) return text;
  qsizetype low = 0, high = text.size();
  while (low < high) {
    const qsizetype middle = (low + high + 1) / 2;
    if (fits(text.left(middle).trimmed() + QStringLiteral("…"))) low = middle;
    else high = middle - 1;
  }
  return text.left(low).trimmed() + QStringLiteral("…");
}

}  // namespace

QString ReviewBar::stageText(const ReelStage& stage) {
  switch (stage.kind) {
    case ReelStage::Case::waiting: return tr("Waiting for the last reel to finish");
    case ReelStage::Case::listening: return tr("Listening to your take");
    case ReelStage::Case::story: return tr("Finding the story");
    case ReelStage::Case::rendering: return tr("Scoring and rendering");
    case ReelStage::Case::ready: return tr("Ready");
    case ReelStage::Case::failed: return stage.message;
  }
  return {};
}

ReviewBar::Header ReviewBar::header(const std::optional<ReelJob>& job) {
  if (!job) return {tr("Your take"), {}, {}, {}};
  if (job->stage.kind != ReelStage::Case::ready) return {tr("Making your reel"), stageText(job->stage), {}, {}};
  QString detail = elapsedText(job->duration) + QStringLiteral("  ·  %1 × %2").arg(int(Geometry::canvasWidth)).arg(int(Geometry::canvasHeight));
  if (job->brain == QLatin1String("claude")) detail += tr("  ·  story by Claude");
  const QString headline = job->headline.join(QLatin1Char(' '));
  return {headline.isEmpty() ? stageText(job->stage) : headline, detail,
          tr("Drag the phone anywhere to share it"), job->caption};
}

ReviewBar::ReviewBar(Studio& studio, QWidget* parent) : QWidget(parent), studio_(studio) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(6);
  title_ = line(14, 1, this);
  stage_ = line(12, 0.7, this);
  hint_ = line(12, 0.55, this);
  caption_ = line(12, 0.8, this);
  copyCaption_ = new QLabel(tr("<a href=\"copy\" style=\"color: rgb(120,170,255)\">Copy caption</a>"), this);
  copyCaption_->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
  copyCaption_->setAccessibleName(tr("Copy caption"));
  copyCaption_->setAccessibleDescription(tr("Copies the reel's whole caption"));
  connect(copyCaption_, &QLabel::linkActivated, this, [this] {
    if (const auto j = job()) QGuiApplication::clipboard()->setText(j->caption);
  });
  flags_ = line(12, 1, this);
  flags_->setStyleSheet(QStringLiteral("color: rgb(255,159,10); font-size: 12px;"));
  progress_ = new QProgressBar(this);
  progress_->setRange(0, 1000);
  progress_->setTextVisible(false);
  progress_->setFixedHeight(4);
  progress_->setAccessibleName(tr("Rendering the reel"));
  for (QWidget* w : std::initializer_list<QWidget*>{title_, stage_, hint_, caption_, copyCaption_, flags_, progress_}) column->addWidget(w);

  brief_ = new QLineEdit(this);
  brief_->setPlaceholderText(tr("What's this one about?"));
  brief_->setToolTip(tr("Optional. A line like \"how I hacked my X100V\" steers the reel Vorn cuts after you stop."));
  brief_->setClearButtonEnabled(true);
  brief_->setAccessibleName(tr("What the take is about"));
  brief_->setAccessibleDescription(brief_->toolTip());
  brief_->setStyleSheet(QStringLiteral("QLineEdit { color: white; background: rgba(255,255,255,20); border-radius: 8px; padding: 4px 8px; }"));
  column->addWidget(brief_);

  auto* grid = new QGridLayout;
  grid->setSpacing(6);
  primary_ = button(QString(), QString(), this);
  primary_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return));
  QPushButton* show = button(tr("Show in Files"), QString(), this);
  show->setStyleSheet(show->styleSheet() + QStringLiteral(" QPushButton { padding: 5px 4px; }"));
  show->setAccessibleDescription(tr("Shows the file in the file manager"));
  copy_ = button(tr("Copy"), tr("Copy the file, then paste it into an upload box"), this);
  QPushButton* retake = button(tr("Retake"), tr("Retake (moves this take and its reel to the Trash)"), this);
  done_ = button(tr("Done"), tr("Done: the reel keeps cutting in the background"), this);
  switch_ = button(QString(), QString(), this);
  switch_->setAccessibleDescription(tr("Plays the take or its reel in the phone"));
  // Two rows: what to do with the reel, then what to do with the file.
  auto* first = new QHBoxLayout;
  first->setSpacing(6);
  first->addWidget(primary_, 2);
  first->addWidget(switch_, 1);
  first->addWidget(done_, 1);
  grid->addLayout(first, 0, 0, 1, 3);
  grid->addWidget(show, 1, 0);
  grid->addWidget(copy_, 1, 1);
  grid->addWidget(retake, 1, 2);
  column->addLayout(grid);
  column->addStretch(1);

  connect(primary_, &QPushButton::clicked, this, [this] { primaryAction(); });
  connect(show, &QPushButton::clicked, this, [this] {
    if (const QString file = item(); !file.isEmpty())
      TakeActions::showInFiles(file, this, [this] {
        if (engine_) engine_->flash(tr("No file manager is available."));
      });
  });
  connect(copy_, &QPushButton::clicked, this, [this] {
    if (const QString file = item(); !file.isEmpty()) {
      TakeActions::copyFile(file);
      copy_->setText(tr("Copied"));
    }
  });
  connect(retake, &QPushButton::clicked, this, [this] { if (engine_) engine_->recording().retake(); });
  connect(done_, &QPushButton::clicked, this, [this] { if (engine_) engine_->primaryAction(); });
  connect(switch_, &QPushButton::clicked, this, [this] {
    if (engine_ && engine_->reels()) engine_->reels()->setShowReel(!engine_->reels()->showReel());
  });
  connect(brief_, &QLineEdit::textEdited, this, [this](const QString& text) {
    studio_.updatePrefs([&](Prefs& p) { p.brief = text; });
  });
  connect(brief_, &QLineEdit::returnPressed, brief_, &QLineEdit::clearFocus);
  connect(&studio_, &Studio::takeChanged, this, [this] {
    copy_->setText(tr("Copy"));
    refresh();
  });
  refresh();
}

void ReviewBar::attach(Engine& engine) {
  engine_ = &engine;
  if (ReelMaker* reels = engine.reels())
    for (auto signal : {&ReelMaker::jobsChanged, &ReelMaker::showReelChanged})
      connect(reels, signal, this, [this] { refresh(); });
  refresh();
}

std::optional<ReelJob> ReviewBar::job() const {
  return engine_ && engine_->reels() ? engine_->reels()->job(studio_.take()) : std::nullopt;
}

QString ReviewBar::item() const {
  if (!studio_.take()) return {};
  if (const auto j = job(); j && j->video && engine_->reels()->showReel()) return j->video->toLocalFile();
  return studio_.take()->url.toLocalFile();
}

void ReviewBar::primaryAction() {
  if (!engine_) return;
  const auto j = job();
  if (j && j->stage.kind == ReelStage::Case::ready && j->video)
    engine_->reels()->send(*studio_.take());
  else
    engine_->primaryAction();  // leaves the review; the reel keeps cutting
}

void ReviewBar::refresh() { present(job()); }

void ReviewBar::present(const std::optional<ReelJob>& j) {
  const Header head = header(j);
  title_->setText(head.title);
  stage_->setText(head.detail);
  hint_->setText(head.hint);
  hint_->setVisible(!head.hint.isEmpty());
  caption_->setText(firstLines(head.caption, caption_->font(), width(), 2));
  caption_->setVisible(!head.caption.isEmpty());
  copyCaption_->setVisible(!head.caption.isEmpty());
  flags_->setText(j && !j->flags.isEmpty() ? QStringLiteral("⚑ ") + j->flags.join(QStringLiteral(" · ")) : QString());
  flags_->setVisible(!flags_->text().isEmpty());
  const bool rendering = j && j->stage.kind == ReelStage::Case::rendering;
  progress_->setVisible(rendering);
  if (rendering) progress_->setValue(int(std::clamp(j->stage.progress, 0.0, 1.0) * 1000));
  const bool ready = j && j->stage.kind == ReelStage::Case::ready && j->video;
  primary_->setText(ready ? tr("Send to Phone") : tr("Done"));
  primary_->setToolTip(ready ? tr("Send the reel to your phone and copy its caption (Ctrl+Return)")
                             : tr("Vorn is cutting your reel. You can close this; it keeps going."));
  primary_->setAccessibleDescription(primary_->toolTip());
  switch_->setVisible(ready);
  done_->setVisible(ready);  // otherwise the primary button is "Done"
  switch_->setText(engine_ && engine_->reels() && engine_->reels()->showReel() ? tr("Show take")
                                                                               : tr("Show reel"));
  if (const QString brief = studio_.prefs().brief.value_or(QString()); brief != brief_->text()) brief_->setText(brief);
}

}  // namespace vorn
