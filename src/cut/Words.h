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
  // 0…1: how sure the recogniser is; 1 for a word aligned to a known script.
  double confidence = 1;
  // How loud it was said, in dB of full scale; 0 when not measured.
  double loudness = 0;
  // The last word of a sentence of the script it was read from.
  bool endsSentence = false;

  bool operator==(const Word&) const = default;
};

// Below this confidence a word is not published: never burned in as a caption, never a
// hashtag. A script word the aligner could only guess a place for falls under it.
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
