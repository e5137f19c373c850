// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace vorn {

// The video device nodes (video0, video1…) in `devices`, by number: /dev/video2 comes before
// /dev/video10.
std::vector<std::string> videoNodes(const std::string& devices = "/dev");

}  // namespace vorn
