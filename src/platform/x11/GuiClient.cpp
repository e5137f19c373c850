// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/GuiClient.h"

#include <QGuiApplication>
#include <xcb/xcb.h>

namespace vorn {

OwnClient guiClient() {
  auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
  auto* x11 = app ? app->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
  if (!x11 || !x11->connection()) return {};
  const xcb_setup_t* setup = xcb_get_setup(x11->connection());
  return {setup->resource_id_base, setup->resource_id_mask};
}

}  // namespace vorn
