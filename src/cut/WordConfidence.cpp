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
// A word laid where the sound never rises this far over the take's steady noise was not heard:
// it lies on silence.
constexpr double kHeardOverFloorDb = 6;
constexpr double kNotHeard = 0.2;

double middle(const Word& word) { return (word.start + word.end) / 2; }

bool heardThere(const Word& word, const std::vector<Word>& heard) {
  return std::any_of(heard.begin(), heard.end(), [&](const Word& match) {
    return match.text == word.text && std::abs(middle(match) - middle(word)) <= kAnchorReach;
  });
}

// The loudest 10 ms of the word.
double loudestIn(const Word& word, const SoundLevels& levels) {
  double loudest = -1e9;
  for (double t = word.start; t < word.end; t += SoundLevels::kStepSeconds)
    loudest = std::max(loudest, levels.at(t));
  return loudest;
}

double anchorShareAround(const std::vector<bool>& anchors, std::size_t at) {
  const std::size_t from = at > kAnchorWindow ? at - kAnchorWindow : 0;
  const std::size_t to = std::min(anchors.size(), at + kAnchorWindow + 1);
  const auto count = std::count(anchors.begin() + long(from), anchors.begin() + long(to), true);
  return double(count) / double(to - from);
}

}  // namespace

bool liesOnSilence(const Word& word, const SoundLevels& levels) {
  return loudestIn(word, levels) < levels.floorDb + kHeardOverFloorDb;
}

void rateScriptWords(std::vector<Word>& placed, const std::vector<Word>& heard,
                     const SoundLevels& levels) {
  std::vector<bool> anchors;
  for (const Word& word : placed) anchors.push_back(heardThere(word, heard));
  for (std::size_t i = 0; i < placed.size(); ++i) {
    Word& word = placed[i];
    if (liesOnSilence(word, levels))
      word.confidence = kNotHeard;
    else if (anchors[i])
      word.confidence = 1;
    else
      word.confidence = kBetweenAnchors + (1 - kBetweenAnchors) * anchorShareAround(anchors, i);
  }
}

}  // namespace vorn::cut
