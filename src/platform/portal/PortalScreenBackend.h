// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/RunningGrab.h"
#include "capture/ScreenBackend.h"
#include "platform/portal/PortalSession.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace vorn {

class PipeWireStream;

// Where the portal's restore token is kept between runs, so that the user chooses once.
struct RestoreTokenStore {
  std::function<std::string()> load;
  std::function<void(const std::string&)> save;
};

// The screen on Wayland: what the user shares through the desktop portal, received over
// PipeWire. The first look at the displays asks the portal (the desktop's dialog, once; then
// the restore token); the shared monitor or window is the one display, in its own pixels. The
// capture area is cropped out of the latest picture on each tick, so a new area shows at once,
// and a still screen keeps its last picture.
class PortalScreenBackend : public ScreenBackend {
 public:
  explicit PortalScreenBackend(RestoreTokenStore tokens);
  ~PortalScreenBackend() override;

  std::vector<DisplayInfo> displays() override;
  void start(const DisplayInfo& display, const ScreenConfig& config, OwnClient own, ScreenSinks sinks) override;
  bool leavesOutOwnWindows() const override;
  void stop() override;
  void update(const ScreenConfig& config, Completion done) override;
  QImage screenshot(const DisplayInfo& display) override;
  std::optional<std::string> unavailable() const override;

 private:
  PortalSession& session();
  void stopStream();

  RestoreTokenStore tokens_;
  mutable std::mutex mutex_;  // guards what follows but running_
  std::unique_ptr<PortalSession> session_;
  std::optional<SharedSource> shared_;
  std::string problem_;
  std::shared_ptr<PipeWireStream> stream_;
  RunningGrab running_;  // the configuration thread only
};

}  // namespace vorn
