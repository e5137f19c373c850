// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QString>

#include <utility>
#include <vector>

namespace vorn {

class Engine;
class Studio;

// The control deck in every phase, the "More" menu and its submenus, and the teleprompter's
// editor, drawn by the real widgets: for `vorn review-states`.
std::vector<std::pair<QString, QImage>> controlStates(Engine& engine, Studio& studio);

}  // namespace vorn
