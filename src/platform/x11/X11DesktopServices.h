// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "desktop/DesktopServices.h"

namespace vorn {

class X11Desktop;

// The desktop's services on X11: grabbed keys, raw clicks, the pointer and the window
// manager's window list. With no desktop (no X server) only what still works is offered.
DesktopServices x11DesktopServices(X11Desktop* desktop);

}  // namespace vorn
