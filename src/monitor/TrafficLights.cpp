// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/TrafficLights.h"

#include "model/Studio.h"

#include <QHBoxLayout>
#include <QToolButton>

namespace vorn {
namespace {

QToolButton* lightButton(const QString& glyph, const QString& name, const QString& help, const QColor& colour,
                         QWidget* parent) {
  auto* button = new QToolButton(parent);
  button->setText(glyph);
  button->setAccessibleName(name);
  button->setToolTip(help);
  button->setAccessibleDescription(help);
  button->setFixedSize(14, 14);
  button->setFocusPolicy(Qt::TabFocus);
  button->setStyleSheet(QStringLiteral("QToolButton { background: %1; border-radius: 7px; border: none; color: "
                                       "rgba(0,0,0,150); font: bold 10px; padding: 0; }"
                                       "QToolButton:focus { border: 1px solid white; }")
                            .arg(colour.name()));
  return button;
}

}  // namespace

TrafficLights::TrafficLights(Studio& studio, Actions actions, QWidget* parent) : QWidget(parent), studio_(studio) {
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(8);
  QToolButton* close = lightButton(QStringLiteral("×"), tr("Close Vorn"),
                                   tr("Close Vorn  Ctrl+W\nCtrl+Shift+9 or the tray icon brings it back"),
                                   QColor(255, 95, 87), this);
  compact_ = lightButton(QStringLiteral("−"), QString(), QString(), QColor(254, 188, 46), this);
  QToolButton* zoom = lightButton(QStringLiteral("+"), tr("Size the frame for a phone"),
                                  tr("Size the frame so its text reads well on a phone"),
                                  QColor(40, 200, 64), this);
  connect(close, &QToolButton::clicked, this, actions.close);
  connect(compact_, &QToolButton::clicked, this, actions.compact);
  connect(zoom, &QToolButton::clicked, this, actions.zoom);
  for (QToolButton* b : {close, compact_, zoom}) row->addWidget(b);
  connect(&studio_, &Studio::compactChanged, this, [this] { updateHelp(); });
  updateHelp();
}

void TrafficLights::updateHelp() {
  const QString name = studio_.compact() ? tr("Show the phone") : tr("Tuck the phone away");
  compact_->setAccessibleName(name);
  compact_->setToolTip(name + tr("  Ctrl+M"));
  compact_->setAccessibleDescription(compact_->toolTip());
}

}  // namespace vorn
