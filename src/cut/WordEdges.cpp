// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/WordEdges.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <set>

namespace vorn::cut {
namespace {

// How far into a word the voice before it may run; further, and the quiet after it is more
// likely a stop inside the word ("a big": the closure before "b").
constexpr double kLatestTail = 0.05;
// A quiet this long parts two voices; a shorter dip is the noise flickering.
constexpr double kLeastParting = 0.02;
// What is left of a word after its new start: the recogniser's shortest.
constexpr double kShortestWord = 0.03;

}  // namespace

void startPastTails(const SoundLevels& levels, std::vector<Word>& words) {
  const double step = SoundLevels::kStepSeconds;
  for (Word& word : words) {
    if (!levels.voiceAt(word.start)) continue;
    double quiet = word.start;
    while (quiet < word.start + kLatestTail && !levels.noiseAt(quiet)) quiet += step;
    double risen = quiet;
    while (risen < word.end && levels.noiseAt(risen)) risen += step;
    if (quiet < word.start + kLatestTail && risen - quiet >= kLeastParting - 1e-9 &&
        risen <= word.end - kShortestWord)
      word.start = risen;
  }
}

namespace {

// How far into a word its sound may rise: further, and the quiet is the word's soft opening.
constexpr double kLatestOnset = 0.08;
// A word's sound has risen once it comes within this of the word's loudest 10 ms; measured
// against the word itself, a far voice and a voice over a fan rise alike.
constexpr double kRisenBelowPeakDb = 18;
// Voice standing out of the noise this long is the word's own, not the noise flickering.
constexpr int kHeldVoiceSteps = 3;

// The first 10 ms of the word's opening stretch near its own loudest or standing out of the
// take's noise (a soft opening, "f" or "th", is the word's too); its start when none is.
double soundRise(const SoundLevels& levels, const Word& word) {
  double peak = -std::numeric_limits<double>::infinity();
  for (double t = word.start; t < word.end; t += SoundLevels::kStepSeconds)
    peak = std::max(peak, levels.at(t));
  const double latest = std::min(word.end, word.start + kLatestOnset);
  for (double t = word.start; t < latest; t += SoundLevels::kStepSeconds)
    if (levels.at(t) >= peak - kRisenBelowPeakDb || levels.voiceAt(t)) return t;
  return word.start;
}

// The first moment from `from` (in 10 ms steps, before `before`) where voice holds out of the
// noise for `steps` steps; none when it never does.
std::optional<double> heldVoice(const SoundLevels& levels, double from, double before, int steps) {
  const double step = SoundLevels::kStepSeconds;
  for (double t = from; t < before; t += step) {
    int held = 0;
    while (held < steps && levels.voiceAt(t + held * step)) ++held;
    if (held == steps) return t;
  }
  return std::nullopt;
}

// Where the word's voice first holds out of the noise, early enough to leave some of the word
// after it.
std::optional<double> voiceRise(const SoundLevels& levels, const Word& word) {
  return heldVoice(levels, word.start, word.end - kShortestWord, kHeldVoiceSteps);
}

// Voice held this long after a word is talk: a filler, a word said off the script.
constexpr int kTalkSteps = 10;

// Talk that begins once the take has fallen to its noise in `gap` and holds within it.
std::optional<double> talkWithin(const SoundLevels& levels, const Span& gap) {
  double t = gap.start;
  while (t < gap.end && !levels.noiseAt(t)) t += SoundLevels::kStepSeconds;
  return heldVoice(levels, t, gap.end - (kTalkSteps - 1) * SoundLevels::kStepSeconds, kTalkSteps);
}

// A word the aligner ran on this long past its voice over a noise is heard only until then.
constexpr double kRunOnSeconds = 0.1;

// The end of the word's last voice that holds out of the noise, early enough to leave some of
// the word before it.
std::optional<double> voiceFall(const SoundLevels& levels, const Word& word) {
  const double step = SoundLevels::kStepSeconds;
  for (double t = word.end - step; t >= word.start + kShortestWord; t -= step) {
    int held = 0;
    while (held < kHeldVoiceSteps && levels.voiceAt(t - held * step)) ++held;
    if (held == kHeldVoiceSteps) return t + step;
  }
  return std::nullopt;
}

// A word of one sound held this long is drawn out: a hesitation, when its own short sound
// follows it.
constexpr double kDrawnOut = 0.15;
// The pause between the hesitation and the word said after it.
constexpr int kPauseSteps = 5;

struct Hesitated {
  Span hesitation, own;
};

// In `span`, from a word's opening to the next word: a drawn-out sound (the hesitation), a
// pause, then voice held up to where it falls back (the word's own sound).
std::optional<Hesitated> ownSoundAfterHesitation(const SoundLevels& levels, const Span& span) {
  const double step = SoundLevels::kStepSeconds;
  const std::optional<double> held = heldVoice(levels, span.start, span.end, kHeldVoiceSteps);
  if (!held) return std::nullopt;
  double t = *held;
  while (t < span.end && levels.voiceAt(t)) t += step;
  if (t - *held < kDrawnOut - 1e-9) return std::nullopt;
  const double paused = t;
  while (t < span.end && !levels.voiceAt(t)) t += step;
  if (t - paused < kPauseSteps * step - 1e-9) return std::nullopt;
  const std::optional<double> rise =
      heldVoice(levels, t, span.end - (kHeldVoiceSteps - 1) * step, kHeldVoiceSteps);
  if (!rise) return std::nullopt;
  double fall = *rise;
  while (fall < span.end && levels.voiceAt(fall)) fall += step;
  return Hesitated{{*held, paused}, {*rise, std::min(fall, span.end)}};
}

}  // namespace

void splitHesitations(const SoundLevels& levels, std::vector<Word>& words, const Pronounce& pronounce) {
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    Word& word = words[i];
    if (word.offScript || word.end - word.start < kDrawnOut || pronounce(word.text).size() != 1) continue;
    const std::optional<Hesitated> found = ownSoundAfterHesitation(levels, {word.start, words[i + 1].start});
    if (!found) continue;
    Word hesitation{"uh", found->hesitation.start, found->hesitation.end, 0};
    hesitation.offScript = true;
    word.start = found->own.start;
    word.end = found->own.end;
    words.insert(words.begin() + std::ptrdiff_t(i), hesitation);
    ++i;
  }
}

void markVoiceEnds(const SoundLevels& levels, std::vector<Word>& words) {
  for (Word& word : words)
    if (const std::optional<double> fall = voiceFall(levels, word); fall && word.end - *fall >= kRunOnSeconds)
      word.heardUntil = *fall;
}

void markTalkAfter(const SoundLevels& levels, std::vector<Word>& words, double takeLength) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const double next = i + 1 < words.size() ? words[i + 1].start : takeLength;
    words[i].talkAfter = talkWithin(levels, {words[i].end, next}).value_or(0);
  }
}

double unvoicedOpeningSeconds(const std::string& phone) {
  static const std::set<std::string> voicedStops = {"B", "D", "G"};
  static const std::set<std::string> voicedHisses = {"DH", "V", "Z", "ZH", "JH"};
  static const std::set<std::string> stops = {"P", "T", "K"};
  static const std::set<std::string> hisses = {"S", "SH", "F", "TH", "HH", "CH"};
  if (voicedStops.contains(phone)) return 0.03;
  if (voicedHisses.contains(phone) || stops.contains(phone)) return 0.06;
  if (hisses.contains(phone)) return 0.1;
  return 0.02;  // a vowel, a nasal, a liquid or a glide: voiced from the start
}

void placeOnsets(const SoundLevels& levels, std::vector<Word>& words, const Pronounce& pronounce) {
  for (Word& word : words) {
    word.onset = soundRise(levels, word);
    if (!pronounce) continue;
    const std::vector<std::string> phones = pronounce(word.text);
    const std::optional<double> voice = voiceRise(levels, word);
    if (!phones.empty() && voice)
      word.onset = std::max(word.onset, *voice - unvoicedOpeningSeconds(phones.front()));
  }
}

}  // namespace vorn::cut
