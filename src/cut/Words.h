// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace vorn::cut {

// One spoken word with its place in the take, in seconds.
struct Word {
  std::string text;
  double start = 0;
  double end = 0;
  // 0…1: how sure the recogniser is of the word and its place; for a word of a known script,
  // how well the sound and free recognition back up the place it was aligned to.
  double confidence = 1;
  // How loud it was said, in dB of full scale; 0 when not measured.
  double loudness = 0;
  // The last word of a sentence of the script it was read from.
  bool endsSentence = false;
  // Heard where the take strays from its known script: talk the script doesn't hold.
  bool offScript = false;
  // Where its sound rises, when its span opens on a little quiet; 0 when not measured.
  // Captions light the word from here.
  double onset = 0;

  // Where talk that no word holds begins after it, before the next word (an "uh" not heard
  // over a noise); 0 when none. Its caption goes dark there rather than lingering over it.
  double talkAfter = 0;
  // Where its voice last holds out of a noise, when the aligner ran the word on well past it;
  // 0 when it did not. Its caption lingers from here.
  double heardUntil = 0;

  double litFrom() const { return onset > start ? onset : start; }

  bool operator==(const Word&) const = default;
};

// Below this confidence a word is not published: never burned in as a caption, never a
// hashtag. Talk heard where the take strays from its script, and a script word laid where
// the sound holds no speech, fall under it.
constexpr double kSureConfidence = 0.6;

// A stretch of the take, in seconds.
struct Span {
  double start = 0;
  double end = 0;

  double length() const { return end - start; }
  bool operator==(const Span&) const = default;
};

// A failure the user's run ends with: `what()` is one plain sentence.
struct CutError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace vorn::cut
