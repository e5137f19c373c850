// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Clutter.h"

#include "cut/Sentences.h"

#include <string>

namespace vorn::cut {
namespace {

// Filler phrases, longest first so that the longest one said is the one found.
const std::vector<std::vector<std::string>>& fillerPhrases() {
  static const std::vector<std::vector<std::string>> phrases = {
      {"okay", "where", "was", "i"}, {"where", "was", "i"}, {"you", "know"}, {"i", "mean"},
      {"okay", "so"},                {"sort", "of"},        {"like"}};
  return phrases;
}

// A false start is at most this many words said again at once.
constexpr std::size_t kLongestRetake = 5;

// Over a noise an aligner may stretch a word over the pause after it, or open one on the pause
// before it: a pause this long at the inner edge of either still parts them.
constexpr double kSwallowedPause = 0.12;

bool quietThroughout(const SoundLevels& levels, double from, double to) {
  return levels.quietBetween(from, to) >= to - from - SoundLevels::kStepSeconds / 2;
}

bool quietBetween(const std::vector<Word>& words, std::size_t before, std::size_t after,
                  const SoundLevels& levels) {
  const Word &first = words[before], &second = words[after];
  const double reach = kSwallowedPause;
  const bool endsOnPause =
      first.end - first.start > reach && quietThroughout(levels, first.end - reach, first.end);
  const bool opensOnPause = second.end - second.start > reach &&
                            quietThroughout(levels, second.start, second.start + reach);
  return levels.hasQuietBetween(first.end, second.start) || endsOnPause || opensOnPause;
}

// Whether the words [first, last] stand apart from the speech around them.
bool standsApart(const std::vector<Word>& words, std::size_t first, std::size_t last,
                 const SoundLevels& levels) {
  return (first == 0 || quietBetween(words, first - 1, first, levels)) &&
         (last + 1 == words.size() || quietBetween(words, last, last + 1, levels));
}

// How many words from `at` make a filler phrase (0 when none does).
std::size_t phraseAt(const std::vector<Word>& words, std::size_t at) {
  for (const auto& phrase : fillerPhrases()) {
    if (at + phrase.size() > words.size()) continue;
    bool same = true;
    for (std::size_t k = 0; k < phrase.size() && same; ++k) same = words[at + k].text == phrase[k];
    if (same) return phrase.size();
  }
  return 0;
}

bool repeatsAt(const std::vector<Word>& words, std::size_t at, std::size_t length) {
  if (at + 2 * length > words.size()) return false;
  for (std::size_t k = 0; k < length; ++k)
    if (words[at + k].text != words[at + length + k].text) return false;
  return true;
}

// How many words from `at` make one filler, a word or a phrase (0 when none does).
std::size_t fillerAt(const std::vector<Word>& words, std::size_t at) {
  return at < words.size() && isFillerWord(words[at].text) ? 1 : phraseAt(words, at);
}

// Fillers said one after another ("uh, okay so") go together when together they stand apart,
// else each goes where it stands apart alone.
void markFillers(const std::vector<Word>& words, const SoundLevels& levels,
                 std::vector<bool>& cut) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::size_t first = fillerAt(words, i);
    if (first == 0) continue;
    std::size_t length = first;
    while (const std::size_t more = fillerAt(words, i + length)) length += more;
    if (length > first && !standsApart(words, i, i + length - 1, levels)) length = first;
    if (!standsApart(words, i, i + length - 1, levels)) continue;
    for (std::size_t k = 0; k < length; ++k) cut[i + k] = true;
    i += length - 1;
  }
}

// A phrase of two words or more said again right after a pause: the first try goes.
void markRetakes(const std::vector<Word>& words, const SoundLevels& levels,
                 std::vector<bool>& cut) {
  for (std::size_t i = 0; i < words.size(); ++i)
    for (std::size_t length = kLongestRetake; length >= 2; --length) {
      if (!repeatsAt(words, i, length) ||
          !quietBetween(words, i + length - 1, i + length, levels))
        continue;
      for (std::size_t k = 0; k < length; ++k) cut[i + k] = true;
      break;
    }
}

}  // namespace

std::vector<bool> clutterIn(const Transcript& transcript) {
  const std::vector<Word>& words = transcript.words;
  std::vector<bool> cut(words.size(), false);
  // Over a broad noise the voice does not stand clear of, alignments do not listen for fillers
  // and the sound falls "quiet" inside words: a filler heard there is a guess.
  if (transcript.fillersHeard) markFillers(words, transcript.levels, cut);
  markRetakes(words, transcript.levels, cut);
  return cut;
}

}  // namespace vorn::cut
