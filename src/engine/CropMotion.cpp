// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/CropMotion.h"

#include "engine/CameraMotion.h"

#include <algorithm>
#include <cmath>

namespace vorn {

Rect CropMotion::target(double aspect, double faceFraction, double w, double h,
                        const std::optional<Rect>& face) {
  if (w < 1 || h < 1) return {0, 0, 1, 1};
  double height = face ? face->height * h / faceFraction : h;
  height = std::min({height, h, w / aspect});
  // Never zoom in so far that the picture turns to mush.
  const double floor = std::min(w / aspect, h) * 0.38;
  if (height <= floor) height = floor;
  const double width = aspect * height;

  // With a face, it sits a little above the middle of the crop.
  const double centerX = face ? face->midX() * w : w / 2;
  const double top = face ? (1 - face->midY()) * h - 0.42 * height : h / 2 - height / 2;
  const double x = std::min(std::max(centerX - width / 2, 0.0), w - width);
  const double y = std::min(std::max(top, 0.0), h - height);
  return {x / w, y / h, width / w, height / h};
}

void CropMotion::step(double dt, double now, const Slots& slots, int widthPixels,
                      int heightPixels, const std::optional<Face>& face) {
  if (!slots.camera || widthPixels <= 0 || heightPixels <= 0) return;
  const double aspect = slots.camera->width / slots.camera->height;
  if (!(aspect > 0) || !std::isfinite(aspect)) return;  // a pane of zero height shows nothing

  std::optional<Rect> recentFace;
  if (face && now - face->time < faceMaxAge) recentFace = face->rect;
  const double w = widthPixels;
  const double h = heightPixels;
  // Successive face rectangles of a still face differ by up to 5 %; following that
  // would keep the picture (and the render loop) busy for nothing.
  const Rect next = target(aspect, slots.faceFraction, w, h, recentFace);
  const double wobble = 0.06 * std::max(next.width, next.height);
  if (std::abs(next.x - goal_.x) > wobble || std::abs(next.y - goal_.y) > wobble ||
      std::abs(next.width - goal_.width) > wobble || std::abs(next.height - goal_.height) > wobble)
    goal_ = next;
  const Rect& goal = goal_;

  // A layout change must not show a stretched glide: jump when the aspect is off by > 2 %.
  const double current = (crop_.width * w) / std::max(crop_.height * h, 1.0);
  if (std::abs(current - aspect) > 0.02 * aspect)
    crop_ = goal;
  else
    crop_ = glide(crop_, goal, dt, glideRate);
  // Within half a camera pixel the glide has arrived: a crop that has stopped moving lets
  // the render loop skip frames in which nothing changed.
  const double dx = 0.5 / w, dy = 0.5 / h;
  if (std::abs(crop_.x - goal.x) < dx && std::abs(crop_.width - goal.width) < dx &&
      std::abs(crop_.y - goal.y) < dy && std::abs(crop_.height - goal.height) < dy)
    crop_ = goal;
}

}  // namespace vorn
