// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/X11DesktopServices.h"

#include "platform/x11/X11Pointer.h"
#include "platform/x11/ClickMonitor.h"
#include "platform/x11/HotKey.h"
#include "platform/x11/WindowList.h"
#include "platform/x11/X11Desktop.h"

namespace vorn {

DesktopServices x11DesktopServices(X11Desktop* desktop) {
  DesktopServices services;
  if (std::shared_ptr<Pointer> pointer = makeX11Pointer())
    services.pointer = [pointer]() -> std::optional<Point> {
      if (const auto state = pointer->query()) return state->position;
      return std::nullopt;
    };
  if (!desktop) return services;
  services.grabKey = [desktop](int key, Qt::KeyboardModifiers modifiers, std::function<void()> handler) {
    return std::shared_ptr<void>(HotKey::grab(*desktop, key, modifiers, std::move(handler)));
  };
  services.watchClicks = [desktop](std::function<void(Point)> onPress) {
    return ClickMonitor::watch(*desktop, std::move(onPress));
  };
  services.otherWindows = [bounds = desktop->bounds()] { return WindowList::windows(bounds); };
  return services;
}

}  // namespace vorn
