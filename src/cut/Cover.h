// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

extern "C" {
#include <libavutil/frame.h>
}

#include <string>

namespace vorn::cut {

// Saves a YUV 4:2:0 picture as a JPEG at `path`; throws CutError when it cannot.
void saveCover(const AVFrame* frame, const std::string& path);

}  // namespace vorn::cut
