// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/CompactBar.h"

#include "base/Clock.h"
#include "model/Studio.h"
#include "monitor/StatusText.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace vorn {

QPushButton* miniRecordButton(std::function<void()> record, QWidget* parent) {
  auto* button = new QPushButton(QCoreApplication::translate("CompactBar", "Record  Ctrl+Shift+9"), parent);
  button->setStyleSheet(QStringLiteral(
      "QPushButton { background: rgb(255,77,66); color: white; border-radius: 12px; padding: 4px 12px;"
      " font-weight: 600; } QPushButton:focus { border: 2px solid white; }"));
  // The shortcut is part of the label; the name is the action alone.
  button->setAccessibleName(QCoreApplication::translate("CompactBar", "Record"));
  button->setAccessibleDescription(QCoreApplication::translate("CompactBar", "Counts in, then records; Ctrl+Shift+9"));
  QObject::connect(button, &QPushButton::clicked, parent, std::move(record));
  return button;
}

CompactBar::CompactBar(Studio& studio, TrafficLights::Actions lights, std::function<void()> record, QWidget* parent)
    : QWidget(parent), studio_(studio) {
  // Two rows: the window buttons and the status above, the record button below.
  auto* rows = new QVBoxLayout(this);
  rows->setContentsMargins(14, 7, 12, 7);
  rows->setSpacing(5);
  auto* top = new QHBoxLayout;
  auto compact = lights.compact;
  top->addWidget(new TrafficLights(studio, std::move(lights), this));
  top->addSpacing(8);
  status_ = new QLabel(this);
  status_->setStyleSheet(QStringLiteral("color: white; font-weight: 600;"));
  status_->setAccessibleName(tr("Status"));
  top->addWidget(status_, 1);
  rows->addLayout(top);
  auto* bottom = new QHBoxLayout;
  bottom->setSpacing(8);
  QPushButton* recordButton = miniRecordButton(std::move(record), this);
  recordButton->setFocusPolicy(Qt::TabFocus);
  bottom->addWidget(recordButton, 1);
  auto* phone = new QPushButton(QStringLiteral("▯"), this);
  phone->setToolTip(tr("Show the phone  Ctrl+M"));
  phone->setAccessibleName(tr("Show the phone"));
  phone->setAccessibleDescription(tr("Ctrl+M"));
  phone->setFocusPolicy(Qt::TabFocus);
  phone->setFixedSize(26, 26);
  phone->setStyleSheet(QStringLiteral("QPushButton { color: white; background: rgba(255,255,255,30); border-radius: 13px; }"
                                      "QPushButton:focus { border: 1px solid white; }"));
  connect(phone, &QPushButton::clicked, this, compact);
  bottom->addWidget(phone);
  rows->addLayout(bottom);
  refresh();
}

void CompactBar::refresh() { status_->setText(compactStatus(studio_, mediaTime())); }

}  // namespace vorn
