// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/Pointer.h"

#include <memory>
#include <string>

namespace vorn {

// The X11 pointer of `display` (empty: $DISPLAY); null when the display cannot be opened.
std::unique_ptr<Pointer> makeX11Pointer(const std::string& display = {});

}  // namespace vorn
