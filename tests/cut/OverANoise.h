// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Listen.h"

#include <algorithm>

namespace vorn::test {

// The transcript's words said 20 dB over a steady noise at -40 dB, one the voice does not
// stand clear of.
inline void hearOverANoise(cut::Transcript& transcript) {
  transcript.clear = false;
  transcript.levels.floorDb = -40;
  transcript.levels.speechDb = -34;
  transcript.levels.db.clear();
  for (double t = 0.005; t < transcript.duration; t += cut::SoundLevels::kStepSeconds) {
    const bool voiced = std::any_of(transcript.words.begin(), transcript.words.end(),
                                    [&](const cut::Word& word) { return word.start < t && t < word.end; });
    transcript.levels.db.push_back(voiced ? -20 : -40);
  }
}

}  // namespace vorn::test
