// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/VideoNodes.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace vorn {

std::vector<std::string> videoNodes(const std::string& devices) {
  std::vector<std::pair<int, std::string>> numbered;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(devices, error)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("video", 0) == 0 && name.size() > 5 &&
        std::isdigit(static_cast<unsigned char>(name[5])))
      numbered.emplace_back(std::atoi(name.c_str() + 5), entry.path().string());
  }
  std::sort(numbered.begin(), numbered.end());
  std::vector<std::string> nodes;
  for (auto& [number, path] : numbered) nodes.push_back(std::move(path));
  return nodes;
}

}  // namespace vorn
