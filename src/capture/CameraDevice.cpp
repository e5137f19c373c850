// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/CameraDevice.h"

#include "capture/SampleCamera.h"
#include "capture/V4l2Camera.h"

namespace vorn {

std::vector<DeviceInfo> listCameras(const std::optional<QString>& sample) {
  std::vector<DeviceInfo> cameras;
  for (const V4l2Node& node : listV4l2Cameras()) cameras.push_back(node.info);
  // Only when asked for by name (tests, the demo), and then first so that it is the one
  // chosen: a stranger's face never stands in for a missing camera.
  if (sample) cameras.insert(cameras.begin(), SampleCamera::info());
  return cameras;
}

std::unique_ptr<CameraDevice> openCamera(const DeviceInfo& camera, const std::optional<QString>& sample,
                                         std::string* error) {
  if (camera.id == SampleCamera::id && sample) return SampleCamera::open(*sample, error);
  for (const V4l2Node& node : listV4l2Cameras())
    if (node.info.id == camera.id) return openV4l2Camera(node.path, error);
  *error = "the camera " + camera.name.toStdString() + " is not connected";
  return nullptr;
}

}  // namespace vorn
