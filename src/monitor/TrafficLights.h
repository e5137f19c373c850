// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

#include <functional>

class QToolButton;

namespace vorn {

class Studio;

// The monitor's three round window buttons: close the studio, tuck the phone away (or show
// it), and size the frame for readable text.
class TrafficLights : public QWidget {
  Q_OBJECT

 public:
  struct Actions {
    std::function<void()> close, compact, zoom;
  };
  TrafficLights(Studio& studio, Actions actions, QWidget* parent);

 private:
  void updateHelp();

  Studio& studio_;
  QToolButton* compact_;
};

}  // namespace vorn
