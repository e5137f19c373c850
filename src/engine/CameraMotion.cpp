// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/CameraMotion.h"

#include <cmath>

namespace vorn {

Rect glide(const Rect& from, const Rect& to, double dt, double rate) {
  const double k = 1 - std::exp(-dt * rate);
  return {from.x + (to.x - from.x) * k, from.y + (to.y - from.y) * k,
          from.width + (to.width - from.width) * k, from.height + (to.height - from.height) * k};
}

void CameraMotion::step(double dt, double now, const RenderInputs& inputs,
                        const std::optional<PointerState>& pointer) {
  const Rect bounds{0, 0, inputs.displaySize.width, inputs.displaySize.height};
  if (cam_ == Rect{}) cam_ = inputs.home;

  if (!inputs.recording) {
    wasRecording_ = false;
    cam_ = inputs.dragging ? inputs.home : glide(cam_, inputs.home, dt, framingRate);
  } else {
    if (!wasRecording_) {
      // A new take starts centred on the framed area; clicks made before it don't zoom.
      followCenter_ = inputs.home.center();
      zoomTarget_ = 1.0;
      handledClick_ = inputs.clickTime;
      following_ = false;
    }
    wasRecording_ = true;
    if (inputs.dragging) {
      cam_ = inputs.home;
    } else {
      const Point c = recordingCenter(now, inputs, pointer);
      const Size size{inputs.home.width * zoomTarget_, inputs.home.height * zoomTarget_};
      const Rect target = Rect::centered(c, size).clamped(bounds);
      cam_ = glide(cam_, target, dt, recordingRate);
    }
  }
  cam_ = cam_.clamped(bounds);
}

Point CameraMotion::recordingCenter(double now, const RenderInputs& inputs,
                                    const std::optional<PointerState>& pointer) {
  Point c = inputs.follow ? followedCenter(inputs, pointer) : inputs.home.center();
  if (!inputs.clickZoom) {
    zoomTarget_ = 1.0;
    followCenter_ = c;
    return c;
  }
  if (inputs.clickTime != handledClick_) {
    handledClick_ = inputs.clickTime;
    zoomTarget_ = zoomedScale;
    c = inputs.clickPoint;
  }
  followCenter_ = c;
  if (now - inputs.clickTime > zoomSeconds) {
    zoomTarget_ = 1.0;
    return c;
  }
  return zoomTarget_ < 1.0 ? inputs.clickPoint : c;
}

Point CameraMotion::followedCenter(const RenderInputs& inputs,
                                   const std::optional<PointerState>& pointer) {
  Point c = followCenter_;
  // Over Vorn's own windows (the studio, its menus) the pointer is working the studio, not
  // showing anything: the view holds.
  // Nor does it show anything on the desktop's panels or in Vorn's tray menu.
  if (!pointer || pointer->overOwnWindow || inputs.trayMenuOpen) return c;
  const Point m{pointer->position.x - inputs.displayOrigin.x,
                pointer->position.y - inputs.displayOrigin.y};
  const Rect display{0, 0, inputs.displaySize.width, inputs.displaySize.height};
  if (!display.contains(m)) return c;
  if (!inputs.workArea.isEmpty() && !inputs.workArea.contains(m)) return c;

  const Rect view = Rect::centered(c, cam_.size());
  // A take opens on what was framed, wherever the pointer was when Record was pressed; the
  // view follows once the pointer has come into it.
  if (!following_) {
    if (!view.contains(m)) return c;
    following_ = true;
  }
  // The camera moves only as far as needed to keep the pointer inside the dead zone.
  const Rect zone = view.insetBy(view.width * 0.22, view.height * 0.20);
  if (m.x < zone.minX()) c.x -= zone.minX() - m.x;
  else if (m.x > zone.maxX()) c.x += m.x - zone.maxX();
  if (m.y < zone.minY()) c.y -= zone.minY() - m.y;
  else if (m.y > zone.maxY()) c.y += m.y - zone.maxY();
  return Rect::centered(c, cam_.size()).clamped(display).center();
}

}  // namespace vorn
