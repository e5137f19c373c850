// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <sys/types.h>

#include <vector>

namespace vorn {

// The other applications' windows on a display, front to back: where the user is working, for
// snapping the capture frame and suggesting one.
class WindowList {
 public:
  // What the window manager says of one top-level window.
  struct Window {
    Rect frame;            // global points, with the window manager's decorations
    pid_t pid = 0;         // 0: the window does not say
    bool normal = true;    // an ordinary application window (not a dock, menu, desktop…)
    bool shown = true;     // mapped and not minimised
    double opacity = 1.0;  // 0…1
  };

  // The candidate windows for `displayBounds` (global points), each clipped to the display and
  // in display-local points; an empty list when the window manager keeps no list.
  static std::vector<Rect> windows(const Rect& displayBounds);

  // The choice itself: other processes' ordinary, shown, visible (opacity above 0.1) windows
  // larger than 120 points each way that meet the display. `frontToBack` keeps its order.
  static std::vector<Rect> candidates(const std::vector<Window>& frontToBack, pid_t ownPid,
                                      const Rect& displayBounds);

  // Every top-level window the window manager lists, front to back.
  static std::vector<Window> stacking();
};

}  // namespace vorn
