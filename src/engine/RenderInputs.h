// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "model/Geometry.h"

namespace vorn {

// The engine's state as the render loop needs it: written whole by the engine whenever
// anything changes, read whole by the loop each tick.
struct RenderInputs {
  Rect home;  // the framed capture area, display points; zero width: nothing to do
  bool dragging = false;
  bool recording = false;  // also while paused
  bool live = false;       // counting down or recording: capture at native resolution
  bool writing = false;    // recording and not paused
  bool follow = true;
  bool clickZoom = false;
  double aspect = 0.5625;
  Size displaySize;
  Point displayOrigin;  // global points, to make the pointer position display-local
  Slots slots = defaultSlots();
  bool mirror = true;
  int fps = 60;
  // Preview frames are composed at the size the monitor shows them: no scaling when painted.
  double previewScale = 0.5;
  Point clickPoint;       // display points
  double clickTime = 0;   // media time; a new value means a new click
  // The display's part that the desktop's panels leave free, display points: a pointer on a
  // panel (on its way to Vorn's tray icon, say) shows nothing.
  Rect workArea;
  // Vorn's tray menu is open: the desktop may draw it, as a window not known to be Vorn's.
  bool trayMenuOpen = false;

  bool operator==(const RenderInputs&) const = default;

  static Slots defaultSlots() {
    Slots s;
    s.faceFraction = 0.3;
    return s;
  }
};

}  // namespace vorn
