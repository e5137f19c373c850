// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/CameraAccess.h"

#include "capture/VideoNodes.h"

#include <QCoreApplication>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace vorn {

std::optional<QString> cameraProblem(const std::string& devices) {
  const std::vector<std::string> nodes = videoNodes(devices);
  if (nodes.empty())
    return QCoreApplication::translate("CameraAccess", "No camera is connected. Plug one in and Vorn picks it up.");
  std::optional<std::string> refused;
  for (const std::string& node : nodes) {
    const int fd = open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0) {
      close(fd);
      return std::nullopt;
    }
    if ((errno == EACCES || errno == EPERM) && !refused) refused = node;
  }
  if (refused)
    return QCoreApplication::translate("CameraAccess",
                                       "Vorn may not open %1. Add yourself to the video group "
                                       "(sudo usermod -aG video $USER), then log out and back in.")
        .arg(QString::fromStdString(*refused));
  return std::nullopt;  // busy or odd devices: the camera source says more when it starts
}

}  // namespace vorn
