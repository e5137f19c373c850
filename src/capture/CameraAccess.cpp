#include "capture/CameraAccess.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cctype>
#include <filesystem>
#include <vector>

namespace vorn {
namespace {

std::vector<std::string> videoNodes(const std::string& devices) {
  std::vector<std::string> nodes;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(devices, error)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("video", 0) == 0 && name.size() > 5 && std::isdigit(static_cast<unsigned char>(name[5])))
      nodes.push_back(entry.path().string());
  }
  std::sort(nodes.begin(), nodes.end());
  return nodes;
}

}  // namespace

std::optional<QString> cameraProblem(const std::string& devices) {
  const std::vector<std::string> nodes = videoNodes(devices);
  if (nodes.empty()) return QStringLiteral("No camera is connected. Plug one in and Vorn picks it up.");
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
    return QStringLiteral("Vorn may not open %1. Add yourself to the video group "
                          "(sudo usermod -aG video $USER), then log out and back in.")
        .arg(QString::fromStdString(*refused));
  return std::nullopt;  // busy or odd devices: the camera source says more when it starts
}

}  // namespace vorn
