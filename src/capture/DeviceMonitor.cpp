// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/DeviceMonitor.h"

#include <libudev.h>
#include <poll.h>
#include <pthread.h>

#include <memory>

#include "base/Log.h"
#include "capture/SoundServer.h"
#include "capture/V4l2Camera.h"

namespace vorn {

namespace {

// How long the watcher waits for a udev event before it looks at its stop request again.
constexpr int pollMilliseconds = 250;

struct UdevUnref {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_monitor* monitor) const { udev_monitor_unref(monitor); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
};

}  // namespace

DeviceMonitor::DeviceMonitor(SoundServer& sound, Handler onConnected, Handler onDisconnected)
    : sound_(sound), onConnected_(std::move(onConnected)), onDisconnected_(std::move(onDisconnected)) {
  sourcesToken_ = sound_.addSourceListener(
      [this](AudioSourceEvent event, const AudioSourceInfo& source) {
        if (source.isMonitor) return;
        const DeviceInfo mic{QString::fromStdString(source.name),
                             QString::fromStdString(source.description)};
        const Handler& handler = event == AudioSourceEvent::added ? onConnected_ : onDisconnected_;
        if (handler) handler(DeviceKind::mic, mic);
      });
  thread_ = std::jthread([this](std::stop_token stop) { watchCameras(stop); });
}

DeviceMonitor::~DeviceMonitor() { sound_.removeSourceListener(sourcesToken_); }

void DeviceMonitor::watchCameras(std::stop_token stop) {
  pthread_setname_np(pthread_self(), "vorn.devices");
  for (const V4l2Node& node : listV4l2Cameras()) cameras_[node.path] = node.info;
  std::unique_ptr<udev, UdevUnref> context(udev_new());
  std::unique_ptr<udev_monitor, UdevUnref> monitor(
      context ? udev_monitor_new_from_netlink(context.get(), "udev") : nullptr);
  if (!monitor ||
      udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "video4linux", nullptr) < 0 ||
      udev_monitor_enable_receiving(monitor.get()) < 0) {
    debugLine("Vorn capture: no udev monitor, cameras plugged in later won't be noticed");
    return;
  }
  pollfd ready{udev_monitor_get_fd(monitor.get()), POLLIN, 0};
  while (!stop.stop_requested()) {
    if (poll(&ready, 1, pollMilliseconds) <= 0) continue;
    std::unique_ptr<udev_device, UdevUnref> device(udev_monitor_receive_device(monitor.get()));
    if (!device) continue;
    const char* action = udev_device_get_action(device.get());
    const char* node = udev_device_get_devnode(device.get());
    if (action && node) cameraEvent(action, node);
  }
}

void DeviceMonitor::cameraEvent(const std::string& action, const std::string& node) {
  if (action == "add") {
    for (const V4l2Node& camera : listV4l2Cameras()) {
      if (camera.path != node) continue;
      cameras_[node] = camera.info;
      if (onConnected_) onConnected_(DeviceKind::camera, camera.info);
    }
  } else if (action == "remove") {
    auto it = cameras_.find(node);
    if (it == cameras_.end()) return;
    const DeviceInfo camera = it->second;
    cameras_.erase(it);
    if (onDisconnected_) onDisconnected_(DeviceKind::camera, camera);
  }
}

}  // namespace vorn
