// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/TakeAudio.h"
#include "cut/Words.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vorn::cut {

// Where platforms play short videos: every reel is brought to this integrated loudness, with
// its peaks held under the ceiling.
constexpr double kReelLoudnessLufs = -14;
constexpr double kReelPeakCeilingDb = -1;

// The integrated loudness of mono sound in LUFS, measured as EBU R128 does: K-weighted,
// in 400 ms blocks that overlap by three quarters, gated at −70 LUFS and then 10 LU under
// the ungated result. Below −70 LUFS throughout (or shorter than one block): −70.
double integratedLoudness(std::span<const std::int16_t> samples, int rate);

// The gain in dB that brings the take's sound in `segments` to the reel's loudness once each of
// the reel's two channels carries it whole; none for a take with nothing to measure.
double reelGainDb(const Pcm& pcm, const std::vector<Span>& segments);

}  // namespace vorn::cut
