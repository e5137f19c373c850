// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <optional>
#include <string>

namespace vorn::cut {

// The face finish asked for the camera's place in the 1080 × 1920 frame (fractions of the
// frame): "natural" smooths the skin's flat areas lightly and keeps every edge; "sculpted"
// smooths more, then adds a little contrast, colour and edge crispness. No look, or no
// place, leaves the picture as it is.
struct FaceFinish {
  std::string look;
  std::optional<std::array<double, 4>> camera;
};

// The part of a filter graph that takes the filled frame "[filled]" to "[finished]".
std::string faceFinishGraph(const FaceFinish& finish);

}  // namespace vorn::cut
