// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QMenu;

namespace vorn {

// Gives `menu`, and the submenus made in it, the studio's dark look whatever the desktop's
// theme: a light menu over the dark monitor reads as another application's.
void darkenMenu(QMenu& menu);

}  // namespace vorn
