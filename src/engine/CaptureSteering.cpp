// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/CaptureSteering.h"

namespace vorn {

std::optional<CaptureRequest> steerCapture(const RenderInputs& inputs, const Rect& cam,
                                           const std::optional<CaptureRequest>& requested) {
  if (!inputs.slots.screen || !requested) return std::nullopt;
  const Rect bounds{0, 0, inputs.displaySize.width, inputs.displaySize.height};
  const Rect need = cam.outsetBy(cam.width * 0.06, cam.height * 0.06).intersected(bounds);
  // Room to pan without asking again on every tick.
  const Rect want = cam.outsetBy(cam.width * 0.45, cam.height * 0.25).intersected(bounds);

  const Rect& have = requested->rect;
  const bool covered = requested->native == inputs.live && have.outsetBy(1, 1).contains(need);
  const bool wasteful = want.width * 1.5 < have.width || want.height * 1.5 < have.height;
  if (covered && (!wasteful || inputs.dragging)) return std::nullopt;
  return CaptureRequest{want, inputs.live};
}

}  // namespace vorn
