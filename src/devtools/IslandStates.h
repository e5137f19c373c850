// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QString>

#include <utility>
#include <vector>

namespace vorn {

class Studio;

// The island by phase, with a loud, a silent and no microphone, and the teleprompter at the
// start, in the middle and at the end of a script, over the top of the sample desktop: for
// `vorn review-states`.
std::vector<std::pair<QString, QImage>> islandStates(Studio& studio);

}  // namespace vorn
