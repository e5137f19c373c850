// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/DesktopBridge.h"

#include "base/Log.h"
#include "capture/Pointer.h"
#include "desktop/ClickMonitor.h"
#include "desktop/HotKey.h"
#include "desktop/WindowList.h"
#include "desktop/X11Desktop.h"

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

std::unique_ptr<HotKey> grabRecordKey(X11Desktop& desktop, Engine& engine) {
  auto key = HotKey::grab(desktop, Qt::Key_9, Qt::ControlModifier | Qt::ShiftModifier,
                          [&engine] { engine.primaryAction(); });
  if (!key) logError("Ctrl+Shift+9 is held by another application; record from the tray or the studio");
  return key;
}

}  // namespace vorn
