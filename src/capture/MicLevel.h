// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/AudioBuffer.h"

namespace vorn {

// The power a buffer of nothing but digital zeros reports: below every real signal, so that
// anything under silentPowerDb can only be digital silence.
constexpr double zeroPowerDb = -320;
constexpr double silentPowerDb = -300;

// Average power of the buffer's first channel, 20·log10(RMS) in dBFS. All zeros give
// zeroPowerDb; any other signal at least silentPowerDb.
double averagePowerDb(const AudioBuffer& buffer);

// The level bars' reading: −50 dB and below shows as 0, 0 dB and above as 1, linear in dB
// between.
float levelForPower(double powerDb);

}  // namespace vorn
