// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/CaptureRequest.h"
#include "engine/RenderInputs.h"

#include <optional>

namespace vorn {

// Keeps the screen capture just large enough around `cam`: the new request to make, or
// nothing when the current one still serves. Nothing is asked before the source has any
// request in force.
std::optional<CaptureRequest> steerCapture(const RenderInputs& inputs, const Rect& cam,
                                           const std::optional<CaptureRequest>& requested);

}  // namespace vorn
