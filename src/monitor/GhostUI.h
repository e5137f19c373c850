// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Model.h"

#include <QPainter>
#include <QSizeF>

namespace vorn {

// An inert imitation of the platform's own interface over the phone's screen of `size`, so a
// creator sees what its buttons and captions will cover. Laid out in the 1080 × 1920 output
// frame and scaled to the screen; `none` draws nothing.
void paintGhostUI(QPainter& p, Platform platform, QSizeF size);

}  // namespace vorn
