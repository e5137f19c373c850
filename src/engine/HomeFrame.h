#pragma once

#include "base/Rect.h"
#include "model/Prefs.h"

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

}  // namespace HomeFrame
}  // namespace vorn
