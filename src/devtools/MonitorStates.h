// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QString>

#include <utility>
#include <vector>

namespace vorn {

class Studio;

// The monitor in each of its states, drawn by the real windows over sample frames: every
// layout × style × platform, the phases' overlays, the welcome card, the toasts and the
// compact bar, for `vorn review-states`.
std::vector<std::pair<QString, QImage>> monitorStates(Studio& studio);

}  // namespace vorn
