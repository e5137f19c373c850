// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/ScreenBackend.h"

#include <QImage>

namespace vorn {

// One picture of a whole display at `scale` of its pixel size, from the X server (or the
// sample screen); a null image when it cannot be had. Slow: call it off the GUI thread.
QImage screenshot(const DisplayInfo& display, double scale);

}  // namespace vorn
