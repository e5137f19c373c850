// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vorn {

// `vorn review-states --out DIR` (or VORN_UI_TEST=DIR): draws each studio state with the
// real windows' drawing code into DIR as PNG files, from a scripted studio and the sample
// pictures, without a session. Exit status as a command's.
int runReviewStates(int argc, char** argv);

}  // namespace vorn
