// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/SoundLevels.h"

#include <algorithm>
#include <cmath>

namespace vorn::cut {
namespace {

constexpr int kStep = Pcm::kRate / 100;
// Speech stands this far above the floor, and never below this absolute level.
constexpr double kAboveFloorDb = 15;
constexpr double kQuietestSpeechDb = -50;
constexpr double kSilenceDb = -120;

double floorOf(std::vector<double> levels) {
  const auto tenth = levels.begin() + long(levels.size() / 10);
  std::nth_element(levels.begin(), tenth, levels.end());
  return *tenth;
}

}  // namespace

SoundLevels SoundLevels::of(const Pcm& pcm) {
  SoundLevels levels;
  for (std::size_t at = 0; at + kStep <= pcm.samples.size(); at += kStep) {
    double sum = 0;
    for (int i = 0; i < kStep; ++i) {
      const double value = pcm.samples[at + i] / 32768.0;
      sum += value * value;
    }
    levels.db.push_back(10 * std::log10(sum / kStep + 1e-12));
  }
  levels.floorDb = levels.db.empty() ? kSilenceDb : floorOf(levels.db);
  levels.speechDb = std::max(levels.floorDb + kAboveFloorDb, kQuietestSpeechDb);
  return levels;
}

double SoundLevels::at(double seconds) const {
  const auto step = long(std::floor(seconds / kStepSeconds));
  return step < 0 || step >= long(db.size()) ? kSilenceDb : db[std::size_t(step)];
}

double SoundLevels::quietBetween(double from, double to) const {
  double quiet = 0;
  for (double t = from; t < to; t += kStepSeconds)
    if (at(t) < speechDb) quiet += kStepSeconds;
  return quiet;
}

bool SoundLevels::hasQuietBetween(double from, double to) const { return quietBetween(from, to) > 0; }

}  // namespace vorn::cut
