#include "capture/CameraDevice.h"

#include "capture/SampleCamera.h"
#include "capture/V4l2Camera.h"

namespace vorn {

std::vector<DeviceInfo> listCameras() {
  std::vector<DeviceInfo> cameras;
  for (const V4l2Node& node : listV4l2Cameras()) cameras.push_back(node.info);
  // Asked for by name, the sample camera comes first so that it is the one chosen.
  if (SampleCamera::requested())
    cameras.insert(cameras.begin(), SampleCamera::info());
  else if (cameras.empty())
    cameras.push_back(SampleCamera::info());
  return cameras;
}

std::unique_ptr<CameraDevice> openCamera(const DeviceInfo& camera, std::string* error) {
  if (camera.id == SampleCamera::id) return SampleCamera::open(SampleCamera::path(), error);
  for (const V4l2Node& node : listV4l2Cameras())
    if (node.info.id == camera.id) return openV4l2Camera(node.path, error);
  *error = "the camera " + camera.name.toStdString() + " is not connected";
  return nullptr;
}

}  // namespace vorn
