// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/WordConfidence.h"

#include <algorithm>
#include <cmath>

namespace vorn::cut {
namespace {

// An anchor's heard word lies at most this far from the place the aligner gave it.
constexpr double kAnchorReach = 0.5;
// Anchors are counted this many words either side.
constexpr std::size_t kAnchorWindow = 5;
// A word between anchors is at least this sure; every anchor near it makes it surer.
constexpr double kBetweenAnchors = 0.6;
// A word laid where the sound stays below speech for nearly all its length was not heard.
constexpr double kLeastSpeechShare = 0.1;
constexpr double kNotHeard = 0.2;

double middle(const Word& word) { return (word.start + word.end) / 2; }

bool heardThere(const Word& word, const std::vector<Word>& heard) {
  return std::any_of(heard.begin(), heard.end(), [&](const Word& match) {
    return match.text == word.text && std::abs(middle(match) - middle(word)) <= kAnchorReach;
  });
}

double speechShare(const Word& word, const SoundLevels& levels) {
  int steps = 0, loud = 0;
  for (double t = word.start; t < word.end; t += SoundLevels::kStepSeconds, ++steps)
    if (levels.at(t) >= levels.speechDb) ++loud;
  return steps == 0 ? 0 : double(loud) / steps;
}

double anchorShareAround(const std::vector<bool>& anchors, std::size_t at) {
  const std::size_t from = at > kAnchorWindow ? at - kAnchorWindow : 0;
  const std::size_t to = std::min(anchors.size(), at + kAnchorWindow + 1);
  const auto count = std::count(anchors.begin() + long(from), anchors.begin() + long(to), true);
  return double(count) / double(to - from);
}

}  // namespace

void rateScriptWords(std::vector<Word>& placed, const std::vector<Word>& heard,
                     const SoundLevels& levels) {
  std::vector<bool> anchors;
  for (const Word& word : placed) anchors.push_back(heardThere(word, heard));
  for (std::size_t i = 0; i < placed.size(); ++i) {
    Word& word = placed[i];
    if (word.confidence < kSureConfidence) continue;
    if (speechShare(word, levels) < kLeastSpeechShare)
      word.confidence = kNotHeard;
    else
      word.confidence =
          anchors[i] ? 1.0 : kBetweenAnchors + (1 - kBetweenAnchors) * anchorShareAround(anchors, i);
  }
}

}  // namespace vorn::cut
