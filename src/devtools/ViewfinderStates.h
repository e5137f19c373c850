// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QString>

#include <utility>
#include <vector>

namespace vorn {

class Engine;
class Studio;

// The viewfinder in each of its states, drawn by the real frame view over the sample desktop
// picture, with the dimming a compositor gives and without it ("-plain"): for
// `vorn review-states`.
std::vector<std::pair<QString, QImage>> viewfinderStates(Engine& engine, Studio& studio);

}  // namespace vorn
