// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlDeck.h"

#include "controls/MoreMenu.h"
#include "controls/ScriptEditor.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "model/Geometry.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace vorn {
namespace {

// The little picture of a layout: where screen and camera sit, 11 × 19 points.
QIcon layoutGlyph(Layout layout) {
  QPixmap pixmap(22, 38);
  pixmap.fill(Qt::transparent);
  QPainter p(&pixmap);
  p.setRenderHint(QPainter::Antialiasing);
  p.scale(2, 2);
  p.setPen(QPen(Qt::white, 1));
  p.setBrush(Qt::NoBrush);
  p.drawRoundedRect(QRectF(0.5, 0.5, 10, 18), 2, 2);
  p.setPen(Qt::NoPen);
  p.setBrush(Qt::white);
  switch (layout) {
    case Layout::screen: p.drawEllipse(QPointF(3.5, 13.5), 2.2, 2.2); break;
    case Layout::split: p.drawRect(QRectF(0.5, 9.5, 10, 9)); break;
    case Layout::me: p.drawEllipse(QPointF(5.5, 7.5), 2.6, 2.6); p.drawChord(QRectF(1.5, 10.5, 8, 8), 0, 180 * 16); break;
  }
  return QIcon(pixmap);
}

const char* kToggleStyle =
    "QToolButton { color: white; background: rgba(255,255,255,26); border: none; border-radius: 16px;"
    " padding: 4px 8px; } QToolButton:checked { background: rgba(255,255,255,70); }"
    " QToolButton:focus { border: 1px solid white; }";

// A switch reads on or off at a glance, not by a shade of grey: lit when on, an outline
// with dimmed text when off.
const char* kSwitchStyle =
    "QToolButton { color: rgba(255,255,255,150); background: transparent; border: 1px solid rgba(255,255,255,60);"
    " border-radius: 16px; padding: 3px 8px; }"
    " QToolButton:checked { color: #1c1c1e; background: white; border: 1px solid white; }"
    " QToolButton:focus { border: 1px solid #64a0ff; }";

QToolButton* toggle(const QString& label, QWidget* parent) {
  auto* b = new QToolButton(parent);
  b->setText(label);
  b->setCheckable(true);
  b->setToolButtonStyle(Qt::ToolButtonTextOnly);
  b->setFocusPolicy(Qt::TabFocus);
  b->setStyleSheet(QString::fromLatin1(kToggleStyle));
  return b;
}

}  // namespace

ControlDeck::ControlDeck(Studio& studio, Engine& engine, QWidget* parent)
    : QWidget(parent), studio_(studio), engine_(engine) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(10);

  auto* picker = new QHBoxLayout;
  picker->setSpacing(6);
  const struct {
    Layout layout;
    QString label, name, description;
  } pickable[] = {
      {Layout::screen, tr("Screen"), tr("Screen layout"), tr("The screen, with the camera in a bubble")},
      {Layout::split, tr("Split"), tr("Split layout"), tr("The screen and the camera stacked, with a divider between")},
      {Layout::me, tr("Me"), tr("Me layout"), tr("The camera alone")},
  };
  for (const auto& [layout, label, name, description] : pickable) {
    QToolButton* b = toggle(label, this);
    b->setAccessibleName(name);
    b->setAccessibleDescription(description);
    b->setIcon(layoutGlyph(layout));
    b->setIconSize(QSize(11, 19));
    b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    b->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(b, &QToolButton::clicked, this, [this, layout = layout] {
      studio_.updatePrefs([layout](Prefs& p) { p.layout = layout; });
    });
    layouts_.push_back(b);
    picker->addWidget(b, 1);
  }
  column->addLayout(picker);

  auto* row = new QHBoxLayout;
  row->setSpacing(6);
  camera_ = toggle(tr("Camera"), this);
  mic_ = toggle(tr("Mic"), this);
  follow_ = toggle(tr("Follow"), this);
  connect(camera_, &QToolButton::clicked, this, [this](bool on) { studio_.updatePrefs([on](Prefs& p) { p.cameraOn = on; }); });
  connect(mic_, &QToolButton::clicked, this, [this](bool on) {
    if (!studio_.micAccess()) return engine_.resolveMicAccess();
    studio_.updatePrefs([on](Prefs& p) { p.micOn = on; });
  });
  connect(follow_, &QToolButton::clicked, this, [this](bool on) { studio_.updatePrefs([on](Prefs& p) { p.follow = on; }); });
  camera_->setAccessibleDescription(tr("Shows the camera in the video"));
  mic_->setAccessibleDescription(tr("Records your voice with the take"));
  for (QToolButton* b : {camera_, mic_, follow_}) {
    b->setStyleSheet(QString::fromLatin1(kSwitchStyle));
    row->addWidget(b);
  }
  row->addStretch(1);
  more_ = new MoreMenu(studio_, engine_, this);
  moreButton_ = new QToolButton(this);
  moreButton_->setText(tr("More"));
  moreButton_->setToolTip(tr("Style, camera, microphone, teleprompter and more"));
  moreButton_->setAccessibleDescription(moreButton_->toolTip());
  moreButton_->setMenu(more_);
  moreButton_->setPopupMode(QToolButton::InstantPopup);
  moreButton_->setFocusPolicy(Qt::TabFocus);
  moreButton_->setStyleSheet(QString::fromLatin1(kToggleStyle) + QStringLiteral(" QToolButton::menu-indicator { image: none; }"));
  row->addWidget(moreButton_);
  column->addLayout(row);

  record_ = new QPushButton(this);
  record_->setFocusPolicy(Qt::TabFocus);
  record_->setMinimumHeight(40);
  record_->setStyleSheet(QStringLiteral(
      "QPushButton { background: rgb(255,77,66); color: white; border-radius: 20px; font-weight: 600; font-size: 15px; }"
      " QPushButton:focus { border: 2px solid white; }"));
  connect(record_, &QPushButton::clicked, this, [this] { engine_.primaryAction(); });
  column->addWidget(record_);

  hint_ = new QLabel(this);
  hint_->setAlignment(Qt::AlignCenter);
  hint_->setStyleSheet(QStringLiteral("color: rgba(255,255,255,150); font-size: 12px;"));
  column->addWidget(hint_);
  column->addStretch(1);

  editor_ = new ScriptEditor(studio_, this);
  for (auto signal : {&Studio::prefsChanged, &Studio::phaseChanged, &Studio::micAccessChanged,
                      &Studio::learnedFrameChanged, &Studio::pausedAtChanged})
    connect(&studio_, signal, this, [this] { refresh(); });
  refresh();
}

ControlDeck::~ControlDeck() = default;

QString ControlDeck::hint(const Studio& studio) {
  const bool key = studio.recordKeyHeld();
  switch (studio.phase()) {
    case Phase::countdown: return tr("Esc to cancel");
    case Phase::recording:
      return tr("%1 to stop · P to %2")
          .arg(key ? tr("Ctrl+Shift+9") : tr("Space"),
               studio.isPaused() ? tr("resume") : tr("pause"));
    case Phase::framing:
      if (!studio.learnedFrame())
        return key ? tr("Drag the frame's edge · Ctrl+Shift+9 to record")
                   : tr("Drag the frame · Space to record");
      [[fallthrough]];
    default: return key ? tr("Space or Ctrl+Shift+9 to record") : tr("Space to record");
  }
}

void ControlDeck::refresh() {
  const Prefs& prefs = studio_.prefs();
  for (size_t i = 0; i < layouts_.size(); ++i) layouts_[i]->setChecked(int(prefs.layout) == int(i));
  camera_->setChecked(prefs.cameraOn);
  // The "me" layout is the camera alone: it can't be shown without it.
  camera_->setEnabled(prefs.layout != Layout::me);
  camera_->setToolTip(prefs.layout == Layout::me ? tr("The camera is part of this layout") : QString());
  mic_->setChecked(prefs.micOn && studio_.micAccess());
  mic_->setToolTip(studio_.micAccess() ? QString() : tr("Vorn can't hear you yet. Click to allow the microphone."));
  follow_->setChecked(prefs.follow);
  follow_->setToolTip(prefs.follow ? tr("Follow: the frame glides after your cursor while recording")
                                   : tr("Follow is off: the frame stays put"));
  follow_->setAccessibleDescription(follow_->toolTip());
  const Phase phase = studio_.phase();
  record_->setText(phase == Phase::countdown ? tr("Cancel")
                   : phase == Phase::recording ? tr("Stop")
                                               : tr("Record"));
  record_->setEnabled(phase != Phase::finishing);
  hint_->setText(hint(studio_));
  record_->setAccessibleDescription(hint_->text());
}

}  // namespace vorn
