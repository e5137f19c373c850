// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vorn {

// `vorn render-samples --out DIR [--width PIXELS]`: composes every layout × style from the sample
// pictures at full scale and writes one PNG each (shrunk to PIXELS wide when given). Returns the
// process's exit code.
int runRenderSamples(int argc, char** argv);

}  // namespace vorn
