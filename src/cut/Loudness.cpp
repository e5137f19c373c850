// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Loudness.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <vector>

namespace vorn::cut {
namespace {

constexpr double kAbsoluteGate = -70;
constexpr double kRelativeGate = -10;
constexpr double kBlockSeconds = 0.4;
constexpr int kBlockParts = 4;
// Two channels of the same sound sum to twice its power.
constexpr double kStereoOfMonoDb = 3.01;
// A take this far under the reel's loudness is brought up no further: beyond, only its noise
// would grow.
constexpr double kMostGainDb = 40;

struct Biquad {
  double b0, b1, b2, a1, a2;
  double x1 = 0, x2 = 0, y1 = 0, y2 = 0;

  double operator()(double x) {
    const double y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
    x2 = x1, x1 = x, y2 = y1, y1 = y;
    return y;
  }
};

// The K-weighting's two stages, designed for any sample rate: a +4 dB shelf above about
// 1.5 kHz (the head's effect) and a high-pass at 38 Hz.
Biquad shelf(int rate) {
  const double gain = std::pow(10.0, 4.0 / 40), w = 2 * std::numbers::pi * 1500 / rate;
  const double alpha = std::sin(w) / (2 * std::numbers::sqrt2 / 2), c = std::cos(w);
  const double root = 2 * std::sqrt(gain) * alpha;
  const double a0 = (gain + 1) - (gain - 1) * c + root;
  return {gain * ((gain + 1) + (gain - 1) * c + root) / a0,
          -2 * gain * ((gain - 1) + (gain + 1) * c) / a0,
          gain * ((gain + 1) + (gain - 1) * c - root) / a0, 2 * ((gain - 1) - (gain + 1) * c) / a0,
          ((gain + 1) - (gain - 1) * c - root) / a0};
}

Biquad highPass(int rate) {
  const double w = 2 * std::numbers::pi * 38 / rate;
  const double alpha = std::sin(w) / (2 * 0.5), c = std::cos(w), a0 = 1 + alpha;
  return {(1 + c) / 2 / a0, -(1 + c) / a0, (1 + c) / 2 / a0, -2 * c / a0, (1 - alpha) / a0};
}

double lufs(double meanSquare) { return -0.691 + 10 * std::log10(std::max(meanSquare, 1e-20)); }

// The mean square of the weighted sound in each quarter block.
std::vector<double> quarterPowers(std::span<const std::int16_t> samples, int rate) {
  Biquad first = shelf(rate), second = highPass(rate);
  const auto quarter = std::size_t(rate * kBlockSeconds / kBlockParts);
  std::vector<double> powers;
  double sum = 0;
  std::size_t count = 0;
  for (std::int16_t sample : samples) {
    const double weighted = second(first(sample / 32768.0));
    sum += weighted * weighted;
    if (++count == quarter) powers.push_back(sum / double(quarter)), sum = 0, count = 0;
  }
  return powers;
}

}  // namespace

double integratedLoudness(std::span<const std::int16_t> samples, int rate) {
  const std::vector<double> quarters = quarterPowers(samples, rate);
  std::vector<double> blocks;
  for (std::size_t i = kBlockParts - 1; i < quarters.size(); ++i) {
    double power = 0;
    for (int k = 0; k < kBlockParts; ++k) power += quarters[i - std::size_t(k)];
    blocks.push_back(power / kBlockParts);
  }
  const auto gatedMean = [&](double gate) {
    double sum = 0;
    int count = 0;
    for (double block : blocks)
      if (lufs(block) > gate) sum += block, ++count;
    return count ? std::optional<double>(sum / count) : std::nullopt;
  };
  const std::optional<double> loud = gatedMean(kAbsoluteGate);
  if (!loud) return kAbsoluteGate;
  const std::optional<double> integrated = gatedMean(lufs(*loud) + kRelativeGate);
  return integrated ? std::max(lufs(*integrated), kAbsoluteGate) : kAbsoluteGate;
}

double reelGainDb(const Pcm& pcm, const std::vector<Span>& segments) {
  std::vector<std::int16_t> kept;
  for (const Span& segment : segments) {
    const auto from = std::size_t(std::clamp(segment.start, 0.0, pcm.duration()) * Pcm::kRate);
    const auto to = std::size_t(std::clamp(segment.end, 0.0, pcm.duration()) * Pcm::kRate);
    kept.insert(kept.end(), pcm.samples.begin() + long(from), pcm.samples.begin() + long(to));
  }
  const double measured = integratedLoudness(kept, Pcm::kRate);
  if (measured <= kAbsoluteGate) return 0;
  return std::min(kReelLoudnessLufs - (measured + kStereoOfMonoDb), kMostGainDb);
}

}  // namespace vorn::cut
