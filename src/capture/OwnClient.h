// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace vorn {

// The window-system client whose windows are Vorn's own: every window it creates (the
// studio's panels, menus, tool tips, a window manager's frame around one of them) is left out
// of the capture. On X11 a client's windows share the high bits of their ids: `base` and `mask`
// are the GUI connection's resource-id base and mask. Empty (mask 0): no window is Vorn's.
struct OwnClient {
  uint32_t base = 0;
  uint32_t mask = 0;

  bool owns(uint32_t window) const { return mask != 0 && (window & ~mask) == base; }
  bool operator==(const OwnClient&) const = default;
};

}  // namespace vorn
