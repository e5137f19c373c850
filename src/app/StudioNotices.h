// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/DesktopNotifier.h"

#include <QObject>
#include <QWidget>

namespace vorn {

class ReelMaker;
class Studio;

// What the studio tells the desktop: a take saved while the studio was out of sight (recorded
// through vorn --toggle, say), and every finished reel, which comes minutes after its take.
class StudioNotices : public QObject {
  Q_OBJECT

 public:
  StudioNotices(Studio& studio, ReelMaker& reels, const QWidget& studioWindow);

 private:
  void takeChanged();
  void latestReelChanged();

  Studio& studio_;
  ReelMaker& reels_;
  const QWidget& studioWindow_;
  DesktopNotifier notifier_;
};

}  // namespace vorn
