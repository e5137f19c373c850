// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>

#include <vector>

namespace vorn {

class X11Desktop;

// What the window manager and the X server are told about an overlay window: above normal
// windows on every workspace, out of the taskbar and the window switcher, and which parts of
// it take the mouse.
namespace OverlayWindow {

// Call before the window is first shown: the window manager reads these when it maps it.
void markOverlay(X11Desktop& desktop, unsigned long window);
// The parts of the window (its own pixels) that receive pointer events; none: click-through.
void setInputRegion(X11Desktop& desktop, unsigned long window, const std::vector<QRect>& rects);

}  // namespace OverlayWindow
}  // namespace vorn
