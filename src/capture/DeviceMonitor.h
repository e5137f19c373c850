// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <string>
#include <thread>

#include "model/Model.h"

namespace vorn {

class SoundServer;

enum class DeviceKind { camera, mic };

// Tells when a camera or a microphone is connected or disconnected: cameras from the udev
// monitor, microphones from the sound server. The handlers run on background
// threads (cameras on "vorn.devices", microphones on the sound server's); post to the GUI thread
// from there.
class DeviceMonitor {
 public:
  using Handler = std::function<void(DeviceKind kind, const DeviceInfo& device)>;

  DeviceMonitor(SoundServer& sound, Handler onConnected, Handler onDisconnected);
  ~DeviceMonitor();
  DeviceMonitor(const DeviceMonitor&) = delete;
  DeviceMonitor& operator=(const DeviceMonitor&) = delete;

 private:
  void watchCameras(std::stop_token stop);                               // "vorn.devices"
  void cameraEvent(const std::string& action, const std::string& node);  // "vorn.devices"

  SoundServer& sound_;
  const Handler onConnected_;
  const Handler onDisconnected_;
  int sourcesToken_ = 0;
  // "vorn.devices" only: the cameras seen, by device node, to name one that goes away.
  std::map<std::string, DeviceInfo> cameras_;
  std::jthread thread_;  // last: stops before the rest goes away
};

}  // namespace vorn
