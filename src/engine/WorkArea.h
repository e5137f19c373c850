// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "capture/ScreenBackend.h"

namespace vorn {

// The part of `display` (global points) that the desktop's panels and docks leave to windows;
// the whole display where the toolkit knows of none (or there is no GUI application). GUI
// thread.
Rect workAreaOf(const DisplayInfo& display);

}  // namespace vorn
