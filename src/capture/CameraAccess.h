// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <optional>
#include <string>

namespace vorn {

// Why no camera can be used, as one sentence for the user, or nothing when a camera is there
// to be opened: no video device at all, or devices this user may not open (the fix is the
// `video` group). `devices` is the folder of the device nodes.
std::optional<QString> cameraProblem(const std::string& devices = "/dev");

}  // namespace vorn
