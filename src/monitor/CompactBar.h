// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "monitor/TrafficLights.h"

#include <QWidget>

class QLabel;
class QPushButton;

namespace vorn {

class Studio;

// The monitor tucked away: the window buttons, the take's status, a record button and a way
// back to the phone.
class CompactBar : public QWidget {
  Q_OBJECT

 public:
  CompactBar(Studio& studio, TrafficLights::Actions lights, std::function<void()> record, QWidget* parent);
  void refresh();

 private:
  Studio& studio_;
  QLabel* status_;
};

// The record button of the compact bar (and of the monitor until the control deck comes):
// "Record  Ctrl+Shift+9", acting on the studio by phase.
QPushButton* miniRecordButton(std::function<void()> record, QWidget* parent);

}  // namespace vorn
