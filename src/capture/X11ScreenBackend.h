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
  void start(const DisplayInfo& display, const ScreenConfig& config,
             std::shared_ptr<OwnWindows> ownWindows, ScreenSinks sinks) override;
  void stop() override;
  void update(const ScreenConfig& config, Completion done) override;

 private:
  RunningGrab running_;
};

}  // namespace vorn
