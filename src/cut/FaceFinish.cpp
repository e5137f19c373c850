// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/FaceFinish.h"

#include <algorithm>
#include <cmath>

namespace vorn::cut {
namespace {

constexpr int kWidth = 1080;
constexpr int kHeight = 1920;
constexpr int kSmallest = 16;

// smartblur with a positive threshold touches only flat areas: skin, not eyes or hair.
const char* const kNatural = "smartblur=lr=2.0:ls=0.6:lt=6";
const char* const kSculpted =
    "smartblur=lr=3.0:ls=0.9:lt=8,eq=contrast=1.06:saturation=1.08,unsharp=5:5:0.5";

// A fraction of the frame to whole even pixels (4:2:0 pictures are cut on even lines).
int evenPixels(double fraction, int size) {
  return std::clamp(int(std::lround(fraction * size / 2)) * 2, 0, size);
}

}  // namespace

std::string faceFinishGraph(const FaceFinish& finish) {
  if (finish.look.empty() || !finish.camera) return "[filled]null[finished]";
  const auto& [fx, fy, fw, fh] = *finish.camera;
  const int x = std::min(evenPixels(fx, kWidth), kWidth - kSmallest);
  const int y = std::min(evenPixels(fy, kHeight), kHeight - kSmallest);
  const int w = std::clamp(evenPixels(fw, kWidth), kSmallest, kWidth - x);
  const int h = std::clamp(evenPixels(fh, kHeight), kSmallest, kHeight - y);
  const std::string at = std::to_string(x) + ":" + std::to_string(y);
  return "[filled]split[base][face];[face]crop=" + std::to_string(w) + ":" + std::to_string(h) +
         ":" + at + "," + (finish.look == "sculpted" ? kSculpted : kNatural) +
         "[smoothed];[base][smoothed]overlay=" + at + "[finished]";
}

}  // namespace vorn::cut
