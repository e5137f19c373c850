// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/StudioWindows.h"

#include <QTimer>
#include <QWidget>

#include <memory>

namespace vorn {

class Engine;
class FramingBoard;
class IslandView;
class Studio;

// Where windows cannot place themselves over the screen (Wayland), one window of Vorn's own
// carries what the overlays carry elsewhere: the framing board while framing and in review,
// the island's status and teleprompter from the countdown until the take ends. The user puts
// it where it suits (beside the camera, say); the engine drives its two parts through the
// viewfinder's and the island's interfaces.
class StageWindow {
 public:
  explicit StageWindow(Studio& studio);
  ~StageWindow();
  void attach(Engine& engine);

  // The parts the engine holds; each may be taken once.
  std::unique_ptr<ViewfinderPanels> takeViewfinder();
  std::unique_ptr<IslandPanel> takeIsland();

  QWidget* window() const { return window_.get(); }
  FramingBoard* board() const { return board_; }
  IslandView* islandView() const { return island_; }

 private:
  class Island;
  std::unique_ptr<QWidget> window_;
  FramingBoard* board_ = nullptr;
  IslandView* island_ = nullptr;
  std::unique_ptr<ViewfinderPanels> viewfinder_;
  std::unique_ptr<IslandPanel> islandPanel_;
};

}  // namespace vorn
