// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/RunningGrab.h"
#include "capture/ScreenBackend.h"

#include <memory>

namespace vorn {


// Screen capture from the X server named by DISPLAY: one display per RandR monitor, grabbed
// through MIT-SHM on the "vorn.screen" thread. Displays are measured in pixels: one point is
// one pixel on X11.
class X11ScreenBackend : public ScreenBackend {
 public:
  X11ScreenBackend();
  ~X11ScreenBackend() override;

  std::vector<DisplayInfo> displays() override;
  void start(const DisplayInfo& display, const ScreenConfig& config, OwnClient own,
             ScreenSinks sinks) override;
  bool leavesOutOwnWindows() const override { return leavesOut_; };
  void stop() override;
  void update(const ScreenConfig& config, Completion done) override;
  QImage screenshot(const DisplayInfo& display) override;

 private:
  RunningGrab running_;
  bool leavesOut_ = false;
};

}  // namespace vorn
