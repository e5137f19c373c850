// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <Qt>

#include <optional>

namespace vorn {

// The move an arrow key asks of the item with the keyboard, in that item's own points: a small
// step, or with Shift a bigger one. None for other keys, or with Ctrl or Alt held, so those
// combinations stay shortcuts.
std::optional<Point> arrowStep(int qtKey, Qt::KeyboardModifiers modifiers);

}  // namespace vorn
