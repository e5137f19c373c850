// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/OwnClient.h"
#include "capture/ScreenBackend.h"
#include "capture/SoundServer.h"
#include "desktop/DesktopServices.h"

#include <QString>

#include <memory>
#include <optional>

namespace vorn {

// The platform as the engine is given it, chosen once when the program starts.
struct Backends {
  // The screen source's capture backend.
  std::unique_ptr<ScreenBackend> screen;
  // Whose windows the takes leave out.
  OwnClient own;
  std::shared_ptr<SoundServer> sound;
  // The sample camera's picture or movie when one was asked for by name; none: real cameras
  // only (a stranger's face never stands in for a missing camera).
  std::optional<QString> sampleCamera;
  DesktopServices desktop;
};

}  // namespace vorn
