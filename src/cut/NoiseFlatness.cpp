// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/NoiseFlatness.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <vector>

extern "C" {
#include <libavutil/tx.h>
}

namespace vorn::cut {
namespace {

constexpr int kWindow = 512;
constexpr double kQuietShare = 0.3;

struct TxFree {
  void operator()(AVTXContext* tx) const { av_tx_uninit(&tx); }
};

// The energy of each whole window.
std::vector<std::pair<double, std::size_t>> windowEnergies(const Pcm& pcm) {
  std::vector<std::pair<double, std::size_t>> energies;
  for (std::size_t from = 0; from + kWindow <= pcm.samples.size(); from += kWindow) {
    double energy = 0;
    for (int i = 0; i < kWindow; ++i) energy += double(pcm.samples[from + i]) * pcm.samples[from + i];
    energies.emplace_back(energy, from);
  }
  return energies;
}

}  // namespace

double noiseFlatness(const Pcm& pcm) {
  auto energies = windowEnergies(pcm);
  const auto quiet = std::size_t(double(energies.size()) * kQuietShare);
  if (quiet == 0) return 0;
  std::nth_element(energies.begin(), energies.begin() + long(quiet), energies.end());
  energies.resize(quiet);

  AVTXContext* made = nullptr;
  av_tx_fn transform = nullptr;
  const float scale = 1;
  if (av_tx_init(&made, &transform, AV_TX_FLOAT_RDFT, 0, kWindow, &scale, AV_TX_UNALIGNED) < 0) return 0;
  const std::unique_ptr<AVTXContext, TxFree> tx(made);
  std::vector<float> in(kWindow);
  std::vector<std::complex<float>> out(kWindow / 2 + 1);
  std::vector<double> flatness;
  for (const auto& [energy, from] : energies) {
    if (energy == 0) continue;
    for (int i = 0; i < kWindow; ++i) {
      const double hann = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * i / kWindow);
      in[i] = float(pcm.samples[from + i] * hann);
    }
    transform(tx.get(), out.data(), in.data(), sizeof(float));
    // Geometric over arithmetic mean of the magnitudes, the constant term left out.
    double logSum = 0, sum = 0;
    for (std::size_t bin = 1; bin < out.size(); ++bin) {
      const double magnitude = std::abs(out[bin]) + 1e-9;
      logSum += std::log(magnitude);
      sum += magnitude;
    }
    const auto bins = double(out.size() - 1);
    flatness.push_back(std::exp(logSum / bins) / (sum / bins));
  }
  if (flatness.size() * 2 < quiet) return 0;  // mostly digital silence
  std::nth_element(flatness.begin(), flatness.begin() + long(flatness.size() / 2), flatness.end());
  return flatness[flatness.size() / 2];
}

}  // namespace vorn::cut
