// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/FrameBuffer.h"
#include "model/Model.h"

namespace vorn {

// One opened camera. It delivers frames from a thread of its own ("vorn.camera") until it
// is stopped or destroyed; a frame carries the media time at which it was captured.
class CameraDevice {
 public:
  using FrameHandler = std::function<void(FrameRef frame, double pts)>;

  virtual ~CameraDevice() = default;
  // Starts delivering; the handler runs on the camera thread.
  virtual void start(FrameHandler onFrame) = 0;
  // Stops delivering; no handler runs after this returns.
  virtual void stop() = 0;
};

// Every camera that can be opened: the sample camera first when one was asked for (`sample`
// names its picture or movie), then the real cameras.
std::vector<DeviceInfo> listCameras(const std::optional<QString>& sample);

// Opens the camera, preferring 1920 × 1080; null (with the reason in `error`) when it can't
// be opened.
std::unique_ptr<CameraDevice> openCamera(const DeviceInfo& camera, const std::optional<QString>& sample,
                                         std::string* error);

}  // namespace vorn
