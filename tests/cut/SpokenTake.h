// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Words.h"

#include <string>
#include <vector>

namespace vorn::test {

// A take made here: espeak-ng reads known sentences, with silence before, between and after
// them, into the sound of a plain dark 540 × 960 movie. Made once per test program.
struct SpokenTake {
  std::string path;
  std::string script;  // the sentences, one a line
  std::vector<std::string> sentences;
  // Where each sentence's sound lies in the take (espeak's own quiet edges included).
  std::vector<cut::Span> spoken;
  double duration = 0;
};

// `sentences` read by espeak-ng (with `voice`: its options, "-v en -s 165") into one sound
// file, with the same silences as a SpokenTake.
struct SpokenSound {
  std::string path;
  std::vector<cut::Span> spoken;
  double duration = 0;
};
SpokenSound spokenSound(const std::string& name, const std::vector<std::string>& sentences,
                        const std::vector<std::string>& voice = {});

// `sound` over a music bed about 14 dB under the voice (a chord every 2 s over a kick drum on
// every half second), as a sound file beside it.
std::string underMusic(const SpokenSound& sound);

const SpokenTake& spokenTake();
// The same take over a steady hiss (pink noise at about -48 dBFS, 26 dB under the voice).
const SpokenTake& noisySpokenTake();
// The same take over a loud fan (pink noise at about -26 dBFS, 4 dB under the voice).
const SpokenTake& drownedSpokenTake();
// The same take said 24 dB quieter, about −44 LUFS: a microphone far from the mouth.
const SpokenTake& quietSpokenTake();

// A movie of `seconds` with picture and, unless `withSound` is false, digital silence.
std::string silentTake(const std::string& name, double seconds, bool withSound);

// Runs the built vorncut with `arguments`; returns its exit code and its standard output.
int runVorncut(const std::vector<std::string>& arguments, std::string* output);

// The folder a test may write into (inside the test's temporary home).
std::string scratch();

}  // namespace vorn::test
