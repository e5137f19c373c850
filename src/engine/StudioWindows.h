// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/Rect.h"
#include "capture/ScreenBackend.h"

#include <memory>
#include <optional>

namespace vorn {

// The overlay windows the engine drives, as the engine sees them. The viewfinder, the phone
// monitor and the island implement these; where they are absent (`vorn record`, tests) the
// engine drives these silent defaults instead. GUI thread only.

class ViewfinderPanels {
 public:
  virtual ~ViewfinderPanels() = default;
  virtual void show(const DisplayInfo& /*screen*/) {}
  virtual void fadeOut() {}
  // Every tick, with the media time.
  virtual void update(double /*now*/) {}
  virtual void setNeedsDisplay() {}
  // The frame was just suggested: its brackets pulse until the media time `until`.
  virtual void pulse(double /*until*/) {}
};

class MonitorPanel {
 public:
  virtual ~MonitorPanel() = default;
  // Shows the monitor on `screen`, placed so that it avoids `avoid` (global points).
  virtual void show(const DisplayInfo& /*screen*/, const Rect& /*avoid*/) {}
  virtual void hide() {}
  // The newest composed frame; the monitor keeps it as long as it shows it.
  virtual void showFrame(const ConstFrameRef& /*frame*/) {}
  virtual void changeForm(bool /*compact*/, const DisplayInfo& /*screen*/) {}
  // The width in device pixels at which the monitor shows the 1080-wide frame.
  virtual int previewWidth() const { return 540; }
  // Brings the monitor to the front and gives it the keyboard.
  virtual void bringToFront() {}
  // Where it stands on the display (global points) while it is shown.
  virtual std::optional<Rect> shownAt() const { return std::nullopt; }
};

class IslandPanel {
 public:
  virtual ~IslandPanel() = default;
  virtual void show() {}
  virtual void fadeOut() {}
};

struct StudioWindows {
  std::unique_ptr<ViewfinderPanels> viewfinder = std::make_unique<ViewfinderPanels>();
  std::unique_ptr<MonitorPanel> monitor = std::make_unique<MonitorPanel>();
  std::unique_ptr<IslandPanel> island = std::make_unique<IslandPanel>();
};

}  // namespace vorn
