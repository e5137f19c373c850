// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/CutPlacement.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace vorn::cut {
namespace {

// Levels this close count as equally quiet: room noise flickers by about this much.
constexpr double kSameQuietDb = 1.5;
// Leaving out less than this between two segments reads as a stutter, not a cut.
constexpr double kShortestLeftOut = 0.2;
// A word ending in a stop ("at", "it") is ended by the recogniser at its silent closure, before
// the burst that releases it: a segment ends at least this long after its last word, or in the
// later half of a shorter gap, so the burst stays in the reel.
constexpr double kReleaseSeconds = 0.1;

// The stretch between two words that holds `moment`; a moment inside a word is first moved to
// that word's start (`opening`) or end, so the gap is the one before or after it.
Span gapAround(const std::vector<Word>& words, double moment, bool opening, double takeLength) {
  for (const Word& word : words)
    if (word.start < moment && moment < word.end) moment = opening ? word.start : word.end;
  Span gap{0, takeLength};
  for (const Word& word : words) {
    if (word.end <= moment) gap.start = std::max(gap.start, word.end);
    if (word.start >= moment) gap.end = std::min(gap.end, word.start);
  }
  gap.end = std::max(gap.end, gap.start);
  return gap;
}

// How loud the 10 ms on either side of `moment` are, the louder of the two; anything within
// reach of the take's steady noise is that noise, as quiet as the rest of a pause.
double loudnessAt(const SoundLevels& levels, double moment) {
  const double db = std::max(levels.at(moment - SoundLevels::kStepSeconds), levels.at(moment));
  return std::max(db, levels.floorDb + SoundLevels::kNoiseReachDb);
}

// The quietest of `candidates`, the nearest to `planned` among equals.
double quietestIn(const SoundLevels& levels, double planned,
                  const std::vector<double>& candidates) {
  double best = candidates.front(), bestDb = loudnessAt(levels, best);
  for (double moment : candidates) {
    const double db = loudnessAt(levels, moment);
    const bool quieter = db < bestDb - kSameQuietDb;
    const bool asQuiet = db < bestDb + kSameQuietDb;
    if (quieter || (asQuiet && std::abs(moment - planned) < std::abs(best - planned))) {
      best = moment;
      bestDb = std::min(db, bestDb);
    }
  }
  return best;
}

std::vector<double> stepsOf(const Span& gap) {
  std::vector<double> steps;
  for (double t = gap.start; t <= gap.end + 1e-9; t += SoundLevels::kStepSeconds) steps.push_back(t);
  return steps;
}

// Voice that rises soon after a quiet moment in the gap after a word, holds for a syllable and
// falls quiet again before the next word, is the word's own end (a last syllable the
// recogniser left out, "peo-ple" over a fan): a segment does not end before it. Voice running
// on into the next word is that word's breath; a flicker of noise is shorter.
constexpr double kVoiceAfterSeconds = 0.2;
constexpr int kSyllableSteps = 5;
// Over a loud noise a last syllable may stay under speech level: voice is anything that
// stands out of the noise.
bool tailFollows(const SoundLevels& levels, double moment, const Span& gap) {
  const double step = SoundLevels::kStepSeconds;
  for (double t = moment; t < std::min(gap.end, moment + kVoiceAfterSeconds); t += step) {
    int held = 0;
    double end = t;
    while (end < gap.end && levels.voiceAt(end)) {
      ++held;
      end += step;
    }
    if (held >= kSyllableSteps) return end < gap.end;
    t = end;
  }
  return false;
}

// A voice's fading end that lies under the take's noise: an opening leaves this much after the
// last voice before it.
constexpr double kFadingEndSeconds = 0.1;
// An opening pushed towards its word stays this far before the word's sound rises.
constexpr double kOpeningClearance = 0.03;

// Where the last voice held for a syllable in `gap` falls back before the gap ends; the gap's
// start when none does. Voice running on into the word after the gap is that word's.
double lastVoiceEnd(const SoundLevels& levels, const Span& gap) {
  const double step = SoundLevels::kStepSeconds;
  double end = gap.start;
  int held = 0;
  for (double t = gap.start; t < gap.end; t += step) {
    if (levels.voiceAt(t)) {
      ++held;
      continue;
    }
    if (held >= kSyllableSteps) end = t;
    held = 0;
  }
  return end;
}

// Over a noise the voice does not stand clear of, the fading end of the voice before an
// opening (a dropped word, talk no word holds) is as quiet as the rest of the gap: the opening
// waits for it, where there is room before the next word's sound rises. Only where the words are laid
// from a script: words heard freely over such a noise are too far off their sound to cut that
// close to.
Span openingGap(const Transcript& transcript, Span gap) {
  const auto next = std::find_if(transcript.words.begin(), transcript.words.end(),
                                 [&](const Word& word) { return word.start >= gap.end - 1e-9; });
  const double latest =
      next == transcript.words.end() ? gap.end : next->litFrom() - kOpeningClearance;
  const double faded = lastVoiceEnd(transcript.levels, gap) + kFadingEndSeconds;
  // Voice that runs on into the word with no room for a fading end is the word's own
  // utterance ("I mean" heard as one word): nothing to wait for.
  if (faded > latest) return gap;
  gap.start = std::max(gap.start, faded);
  gap.end = std::max(gap.end, gap.start);
  return gap;
}

double edgeIn(const Transcript& transcript, const PictureGrid& grid, double planned, bool opening) {
  Span gap = gapAround(transcript.words, planned, opening, transcript.duration);
  if (opening && transcript.fromScript && !transcript.clear) gap = openingGap(transcript, gap);
  if (!opening && !transcript.clear) {
    const double middle = (gap.start + gap.end) / 2;
    planned = std::max(planned, std::min(gap.start + kUnderNoiseTailSeconds, middle));
  }
  if (!opening) gap.start += std::min(kReleaseSeconds, gap.length() / 2);
  const SoundLevels& levels = transcript.levels;
  std::vector<double> pictures = grid.within(gap.start, gap.end);
  if (!opening) {
    std::vector<double> clear;
    std::copy_if(pictures.begin(), pictures.end(), std::back_inserter(clear),
                 [&](double moment) { return !tailFollows(levels, moment, gap); });
    if (!clear.empty()) pictures = std::move(clear);
  }
  if (!pictures.empty()) return quietestIn(levels, planned, pictures);
  // No picture starts in a gap this narrow: the nearest one to its quiet.
  const double quiet = quietestIn(levels, planned, stepsOf(gap));
  return grid.nearest(quiet);
}

bool holds(const std::vector<Span>& segments, const Word& word) {
  return std::any_of(segments.begin(), segments.end(), [&](const Span& segment) {
    return segment.start <= word.start && word.end <= segment.end;
  });
}

}  // namespace

void placeCuts(Story& story, const Transcript& transcript, const PictureGrid& grid) {
  std::vector<Span> placed;
  for (const Span& segment : story.segments) {
    Span edges{edgeIn(transcript, grid, segment.start, true),
               edgeIn(transcript, grid, segment.end, false)};
    // An opening that waited past a segment holding no word leaves nothing of it.
    edges.end = std::max(edges.end, edges.start);
    if (!placed.empty() && edges.start - placed.back().end < kShortestLeftOut)
      placed.back().end = std::max(placed.back().end, edges.end);
    else
      placed.push_back(edges);
  }
  story.segments = grid.snapped(placed);
  std::erase_if(story.words, [&](const Word& word) { return !holds(story.segments, word); });
}

}  // namespace vorn::cut
