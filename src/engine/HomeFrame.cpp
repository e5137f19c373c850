#include "engine/HomeFrame.h"

#include "render/Geometry.h"

#include <algorithm>
#include <cmath>

namespace vorn::HomeFrame {
namespace {

constexpr double kFallbackAspect = 0.5625;
constexpr double kDefaultHeightShare = 0.88;

// Clamps a rectangle into the screen, moving it (and shrinking it only if it is larger).
Rect clampedInto(Rect r, Size screen) {
  r.width = std::min(r.width, screen.width);
  r.height = std::min(r.height, screen.height);
  r.x = std::clamp(r.x, 0.0, screen.width - r.width);
  r.y = std::clamp(r.y, 0.0, screen.height - r.height);
  return r;
}

}  // namespace

double aspect(const Prefs& prefs) {
  const Slots slots = Geometry::slots(prefs);
  if (!slots.screen || slots.screen->height <= 0) return kFallbackAspect;
  return slots.screen->width / slots.screen->height;
}

double idealHeight(const Prefs& prefs) {
  const Slots slots = Geometry::slots(prefs);
  const double slotWidth = slots.screen ? slots.screen->width : Geometry::canvasWidth;
  return slotWidth * 14 * 0.37222222222222223 / 11.5 / aspect(prefs);
}

Rect restore(const Prefs& prefs, Size screen) {
  const double a = aspect(prefs);
  Rect home;
  if (prefs.home && prefs.home->size() == 4) {
    const std::vector<double>& f = *prefs.home;
    home = {f[0] * screen.width, f[1] * screen.height, f[2] * screen.width, f[3] * screen.height};
  } else {
    const double h = std::min(kDefaultHeightShare * screen.height, idealHeight(prefs));
    home = Rect::centered({screen.width / 2, screen.height / 2}, {h * a, h});
  }
  return fitAspect(home, a, screen);
}

Rect fitAspect(const Rect& home, double aspect, Size screen) {
  if (home.height <= 0 || std::abs(home.width / home.height - aspect) <= 0.002) return home;
  double h = home.height;
  double w = aspect * h;
  if (w > screen.width) {
    h = screen.width / aspect;
    w = aspect * h;
  }
  return clampedInto(Rect::centered(home.center(), {w, h}), screen);
}

}  // namespace vorn::HomeFrame
