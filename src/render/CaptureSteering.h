#pragma once

#include "render/RenderInputs.h"

#include <optional>

namespace vorn {

// A capture area asked of the screen source, and whether at native resolution.
struct CaptureRequest {
  Rect rect;
  bool native = false;
  bool operator==(const CaptureRequest&) const = default;
};

// Keeps the screen capture just large enough around `cam`: the new request to make, or
// nothing when the current one still serves. Nothing is asked before the source has any
// request in force.
std::optional<CaptureRequest> steerCapture(const RenderInputs& inputs, const Rect& cam,
                                           const std::optional<CaptureRequest>& requested);

}  // namespace vorn
