// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include "capture/CameraDevice.h"

namespace vorn {

// The development camera: the picture or movie named by VORN_SAMPLE_CAMERA, looped, or the
// built-in sample face when the variable is unset. It keeps Vorn whole on machines without
// a camera.
namespace SampleCamera {

inline const QString id = QStringLiteral("sample");
inline const QString builtInPath = QStringLiteral(":/vorn/sample-face.jpg");

DeviceInfo info();
// True when VORN_SAMPLE_CAMERA names a file.
bool requested();
// VORN_SAMPLE_CAMERA, else the built-in sample.
QString path();

// An image is served at 30 fps; a movie at its own frame rate, from its own thread.
std::unique_ptr<CameraDevice> open(const QString& path, std::string* error);

}  // namespace SampleCamera

}  // namespace vorn
