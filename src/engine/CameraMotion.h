// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/Pointer.h"
#include "engine/RenderInputs.h"

#include <optional>

namespace vorn {

// The virtual camera over the screen: which part of the display the screen card shows.
// It glides to the framed area while framing, and while recording follows the pointer
// beyond a dead zone and zooms in on clicks. Render thread only.
class CameraMotion {
 public:
  // Moves `cam` by one tick. `pointer` is where the pointer is, if known.
  void step(double dt, double now, const RenderInputs& inputs,
            const std::optional<PointerState>& pointer);
  // Forgets the camera so the next step snaps it to `home`.
  void reset() { cam_ = {}; }

  const Rect& cam() const { return cam_; }
  Point followCenter() const { return followCenter_; }
  double zoomTarget() const { return zoomTarget_; }

  static constexpr double framingRate = 20;
  static constexpr double recordingRate = 5.5;
  static constexpr double zoomedScale = 0.7;
  static constexpr double zoomSeconds = 2.6;

 private:
  Point recordingCenter(double now, const RenderInputs& inputs,
                        const std::optional<PointerState>& pointer);
  Point followedCenter(const RenderInputs& inputs, const std::optional<PointerState>& pointer);

  Rect cam_;
  Point followCenter_;
  double zoomTarget_ = 1.0;
  double handledClick_ = 0;
  bool wasRecording_ = false;
  bool following_ = false;  // the pointer has come into view since the take began
};

// Moves every edge of `from` the fraction 1 − e^(−dt × rate) of the way to `to`.
Rect glide(const Rect& from, const Rect& to, double dt, double rate);

}  // namespace vorn
