// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "model/Prefs.h"

#include <vector>

namespace vorn {

// Where the capture frame ("home") sits on the framed screen, in the screen's own points
// (origin top-left): its default, its readable size and its aspect, which always follows
// the layout's screen slot.
namespace HomeFrame {

// Width ÷ height of the layout's screen slot; 9:16 when the layout shows no screen.
double aspect(const Prefs& prefs);

// The frame height at which a 14-point screen text shows at 11.5 points on a 402-point-wide
// phone.
double idealHeight(const Prefs& prefs);

// The saved frame (four fractions of the screen) on a screen of `screen` size, or a centred
// frame of the readable height (at most 0.88 of the screen); then fitted to the aspect.
Rect restore(const Prefs& prefs, Size screen);

// `home` with the layout's aspect about its centre (keeping its height unless that makes it
// wider than the screen), clamped into the screen. Within 0.002 of the aspect it stays.
Rect fitAspect(const Rect& home, double aspect, Size screen);

// Moves a rectangle into the screen, shrinking it only when it is larger than the screen.
Rect clampedInto(Rect rect, Size screen);

// The saved form of `home`: x, y, width and height as fractions of the screen's size.
std::vector<double> fractions(const Rect& home, Size screen);

// The x and y values a dragged frame's edges snap to: the screen's edges, then those of the
// other windows (screen points).
struct SnapEdges {
  std::vector<double> xs;
  std::vector<double> ys;
};
SnapEdges snapEdges(Size screen, const std::vector<Rect>& windows);

// A frame proposed by a gesture, after snapping and clamping; `snapped` says whether it
// aligned with an edge (or, for a resize, with the readable size).
struct Placed {
  Rect rect;
  bool snapped = false;
};

// A moved frame: each axis shifts by the nearest edge pair closer than 10 points.
Placed drag(const Rect& proposed, const SnapEdges& edges, Size screen);

// A corner drag: `anchor` stays, the frame grows toward `toward` at the aspect, at least 220
// points high, snapping to `idealHeight` within 14 points.
Placed resize(Point anchor, Point toward, double aspect, double idealHeight, Size screen);

// `home` scaled by `factor` about its centre (at least 220 points high), clamped.
Rect scaled(const Rect& home, double factor, double aspect, Size screen);

// The readable frame centred on `home`: `idealHeight` high (never taller than the screen).
Rect readable(const Rect& home, double aspect, double idealHeight, Size screen);

// One tick of a glide from `from` to `to` after `dt` seconds (clamped to 1…50 ms); the
// target exactly once it is within half a point.
struct GlideStep {
  Rect rect;
  bool arrived = false;
};
GlideStep glide(const Rect& from, const Rect& to, double dt);

}  // namespace HomeFrame
}  // namespace vorn
