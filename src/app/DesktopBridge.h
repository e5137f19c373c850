// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/Engine.h"

#include <memory>

namespace vorn {

class HotKey;
class X11Desktop;

// The engine's desktop services on X11: grabbed keys, raw clicks, the pointer and the window
// manager's window list. With no desktop (no X server) only what still works is offered.
DesktopServices x11DesktopServices(X11Desktop* desktop);

// Ctrl+Shift+9 from anywhere: the engine's phase-dependent primary action. Null (with one log
// line) when another application holds the key.
std::unique_ptr<HotKey> grabRecordKey(X11Desktop& desktop, Engine& engine);

}  // namespace vorn
