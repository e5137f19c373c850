// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

namespace vorn {

class Engine;
struct DesktopServices;

// Ctrl+Shift+9 from anywhere: the engine's phase-dependent primary action while the handle
// lives. Null (with one log line) when another application holds the key or the desktop
// grants none.
std::shared_ptr<void> grabRecordKey(const DesktopServices& desktop, Engine& engine);

}  // namespace vorn
