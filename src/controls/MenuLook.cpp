// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/MenuLook.h"

#include <QMenu>

namespace vorn {

void darkenMenu(QMenu& menu) {
  menu.setStyleSheet(QStringLiteral(
      "QMenu { background: rgb(30,30,34); color: white; border: 1px solid rgba(255,255,255,40); padding: 4px; }"
      " QMenu::item { padding: 5px 24px 5px 28px; background: transparent; }"
      " QMenu::item:selected { background: rgba(255,255,255,40); }"
      " QMenu::item:disabled { color: rgba(255,255,255,100); }"
      " QMenu::separator { height: 1px; background: rgba(255,255,255,40); margin: 4px 10px; }"
      " QMenu::indicator { width: 14px; height: 14px; left: 8px; }"));
}

}  // namespace vorn
