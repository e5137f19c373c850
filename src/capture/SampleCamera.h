// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include "capture/CameraDevice.h"

namespace vorn {

// The development camera: a picture or a movie, looped, for tests and demonstrations on
// machines without a camera. Only ever used when asked for by name.
namespace SampleCamera {

inline const QString id = QStringLiteral("sample");
inline const QString builtInPath = QStringLiteral(":/vorn/sample-face.jpg");

DeviceInfo info();

// An image is served at 30 fps; a movie at its own frame rate, from its own thread.
std::unique_ptr<CameraDevice> open(const QString& path, std::string* error);

}  // namespace SampleCamera

}  // namespace vorn
