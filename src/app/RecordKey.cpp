// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/RecordKey.h"

#include "base/Log.h"
#include "engine/Engine.h"

namespace vorn {

std::shared_ptr<void> grabRecordKey(const DesktopServices& desktop, Engine& engine) {
  if (!desktop.grabKey) return nullptr;
  auto key = desktop.grabKey(Qt::Key_9, Qt::ControlModifier | Qt::ShiftModifier, [&engine] { engine.primaryAction(); });
  if (!key) logError("Ctrl+Shift+9 is held by another application; record from the tray or the studio");
  return key;
}

}  // namespace vorn
