// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/TakeAudio.h"

#include <vector>

namespace vorn::cut {

// How loud the take is in each 10 ms, in dB of full scale, and the level above which a
// stretch of it counts as speech (judged against the take's own noise floor).
struct SoundLevels {
  static constexpr double kStepSeconds = 0.01;
  // Voice stands this far over the take's steady noise; anything within `kNoiseReachDb` of it
  // is that noise, as quiet as the rest of a pause.
  static constexpr double kVoiceOverNoiseDb = 6;
  static constexpr double kNoiseReachDb = 3;

  std::vector<double> db;
  double speechDb = 0;
  // The take's steady noise: the level that a tenth of it stays under.
  double floorDb = 0;

  static SoundLevels of(const Pcm& pcm);

  // The level of the 10 ms that holds `seconds` (silence outside the take).
  double at(double seconds) const;
  bool voiceAt(double seconds) const { return at(seconds) >= floorDb + kVoiceOverNoiseDb; }
  bool noiseAt(double seconds) const { return at(seconds) <= floorDb + kNoiseReachDb; }
  // Whether the take stays below speech from `from` to `to` somewhere for at least 10 ms.
  bool hasQuietBetween(double from, double to) const;
  // How long, in all, the take stays below speech from `from` to `to`, in seconds.
  double quietBetween(double from, double to) const;
};

}  // namespace vorn::cut
