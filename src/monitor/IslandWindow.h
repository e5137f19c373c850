// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/StudioWindows.h"

#include <QTimer>

#include <memory>

namespace vorn {

class Engine;
class IslandView;
class OverlayPanel;
class Studio;
class OverlayBackend;

// The island: the take's status and the teleprompter in a panel hung from the top centre of
// the framed screen, from the countdown until the take ends. It never takes the focus, only
// its drawn parts take the mouse, and it is left out of every take. GUI thread only.
class IslandWindow final : public IslandPanel {
 public:
  IslandWindow(Studio& studio, OverlayBackend* overlays);
  ~IslandWindow() override;
  void attach(Engine& engine);

  void show() override;
  void fadeOut() override;

  IslandView* view() const { return view_; }
  bool shown() const { return shown_; }

 private:
  void place();
  void tick();

  Studio& studio_;
  Engine* engine_ = nullptr;
  std::unique_ptr<OverlayPanel> panel_;
  IslandView* view_ = nullptr;
  QTimer ticks_;  // 60 Hz while shown: the time, the level, the script
  bool shown_ = false;
};

}  // namespace vorn
