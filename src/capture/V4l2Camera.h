// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "capture/CameraDevice.h"

namespace vorn {

// One way a V4L2 camera can deliver pictures.
struct V4l2Mode {
  std::uint32_t pixelFormat = 0;  // fourcc: MJPG, YUYV or NV12 are the ones we decode
  int width = 0;
  int height = 0;
  double fps = 0;
  bool operator==(const V4l2Mode&) const = default;
};

// The mode to open among those offered: the size nearest the wanted one, and at that size
// MJPEG at 30 fps or more, else a raw format at 30 fps or more, else the fastest of them.
// Nothing when no offered format can be decoded.
std::optional<V4l2Mode> chooseV4l2Mode(const std::vector<V4l2Mode>& offered, int width = 1920,
                                       int height = 1080);

// A camera's identity that survives replugging and reboots: its /dev/v4l/by-id name (which
// carries the USB serial number) when udev made one, else its card name and bus position.
QString v4l2CameraId(const std::string& byIdName, const std::string& card,
                     const std::string& busInfo);

struct V4l2Node {
  std::string path;  // /dev/videoN
  DeviceInfo info;
};

// The capture-capable /dev/video* nodes, in node order.
std::vector<V4l2Node> listV4l2Cameras();

std::unique_ptr<CameraDevice> openV4l2Camera(const std::string& path, std::string* error);

}  // namespace vorn
