// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/MicLevel.h"

#include <algorithm>
#include <cmath>

namespace vorn {

double averagePowerDb(const AudioBuffer& buffer) {
  const int frames = buffer.frameCount();
  if (frames == 0) return zeroPowerDb;
  double sum = 0;
  for (int i = 0; i < frames; ++i) {
    const double sample = buffer.samples[size_t(i) * size_t(buffer.channels)];
    sum += sample * sample;
  }
  if (sum == 0) return zeroPowerDb;
  const double rms = std::sqrt(sum / frames);
  return std::max(20 * std::log10(rms), silentPowerDb);
}

float levelForPower(double powerDb) { return float(std::clamp((powerDb + 50) / 50, 0.0, 1.0)); }

}  // namespace vorn
