// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPointF>

namespace vorn {

// Whether the pointer, pressed at `from` and now at `to`, has gone far enough for a drag (the
// desktop's drag distance): short of it, a press and release is a click.
bool pastDragDistance(QPointF from, QPointF to);

}  // namespace vorn
