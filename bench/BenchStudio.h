// SPDX-License-Identifier: GPL-3.0-or-later
// The studio the GUI benches measure.
#pragma once

#include "model/Studio.h"

namespace vorn::bench {

// The screen alone at 30 fps, edge to edge: no camera, microphone, Follow or reels; the
// welcome already seen.
inline void screenOnly(Studio& studio) {
  studio.updatePrefs([](Prefs& p) {
    p.fps = 30;
    p.layout = Layout::screen;
    p.style = FrameStyle::bleed;
    p.cameraOn = false;
    p.micOn = false;
    p.follow = false;
    p.reels = false;
  });
  studio.setWelcomed(true);
}

}  // namespace vorn::bench
