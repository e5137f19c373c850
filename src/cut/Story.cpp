// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Story.h"

#include "cut/CutPlacement.h"
#include "cut/Outline.h"
#include "cut/StoryText.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <optional>

namespace vorn::cut {
namespace {

constexpr double kPadding = 0.12;
// A pause this long inside a kept sentence is cut out.
constexpr double kLongPause = 0.6;

bool asks(const Sentence& sentence, const std::vector<Word>& words) {
  return isQuestionWord(words[sentence.first].text);
}

// The sentences that stand or fall together: a question with the one that answers it.
std::vector<std::vector<std::size_t>> unitsOf(const std::vector<Sentence>& sentences,
                                              const std::vector<Word>& words) {
  std::vector<std::vector<std::size_t>> units;
  for (std::size_t s = 0; s < sentences.size(); ++s) {
    units.push_back({s});
    if (asks(sentences[s], words) && s + 1 < sentences.size()) units.back().push_back(++s);
  }
  return units;
}

// A unit's length in the reel, with the room its cuts take either side (`tail` after it).
double costOf(const std::vector<Sentence>& sentences, const std::vector<std::size_t>& unit,
              double tail) {
  double cost = 0;
  for (std::size_t s : unit) cost += sentences[s].length() + kPadding + tail;
  return cost;
}

// A unit is worth its best sentence: a strong question brings its answer along.
double scoreOf(const std::vector<Sentence>& sentences, const std::vector<std::size_t>& unit) {
  double score = sentences[unit.front()].score;
  for (std::size_t s : unit) score = std::max(score, sentences[s].score);
  return score;
}

bool holdsAside(const Outline& outline, const std::vector<std::size_t>& unit) {
  return std::any_of(unit.begin(), unit.end(), [&](std::size_t s) { return outline.asides[s]; });
}

// The unit just before the punchline's, when it is neither an aside nor the hook's: what leads
// up to the punchline.
std::optional<std::size_t> leadInOf(const Outline& outline,
                                    const std::vector<std::vector<std::size_t>>& units) {
  for (std::size_t u = 1; u < units.size(); ++u)
    if (units[u].front() <= outline.punchline && outline.punchline <= units[u].back()) {
      const auto& before = units[u - 1];
      if (before.front() <= outline.hook || holdsAside(outline, before)) return std::nullopt;
      return u - 1;
    }
  return std::nullopt;
}

// The units of the hook and the punchline, then the punchline's lead-in when it fits, then by
// score the later units that still fit, asides left out; in take order. `tail` is the room a
// cut takes after a unit.
std::vector<std::size_t> choose(const Outline& outline, const std::vector<Word>& words,
                                double longest, double tail) {
  const std::vector<Sentence>& sentences = outline.sentences;
  const auto units = unitsOf(sentences, words);
  const auto holds = [&](const std::vector<std::size_t>& unit, std::size_t s) {
    return unit.front() <= s && s <= unit.back();
  };
  std::vector<std::size_t> chosen, later;
  double used = 0;
  for (const auto& unit : units) {
    if (unit.back() < outline.hook) continue;
    if (!holds(unit, outline.hook) && !holds(unit, outline.punchline)) continue;
    chosen.insert(chosen.end(), unit.begin(), unit.end());
    used += costOf(sentences, unit, tail);
  }
  for (std::size_t u = 0; u < units.size(); ++u)
    if (units[u].front() > outline.hook && !holds(units[u], outline.punchline) &&
        !holdsAside(outline, units[u]))
      later.push_back(u);
  std::stable_sort(later.begin(), later.end(), [&](std::size_t a, std::size_t b) {
    return scoreOf(sentences, units[a]) > scoreOf(sentences, units[b]);
  });
  if (const auto leadIn = leadInOf(outline, units)) {
    std::erase(later, *leadIn);
    later.insert(later.begin(), *leadIn);
  }
  for (std::size_t u : later) {
    const double cost = costOf(sentences, units[u], tail);
    if (used + cost > longest) continue;
    chosen.insert(chosen.end(), units[u].begin(), units[u].end());
    used += cost;
  }
  std::sort(chosen.begin(), chosen.end());
  return chosen;
}

// Runs of the held words from `first` to before `last`, split where the speaker pauses long.
WordRuns runsWithin(const Transcript& transcript, const std::vector<bool>& held,
                    std::size_t first, std::size_t last) {
  const std::vector<Word>& words = transcript.words;
  WordRuns runs;
  for (std::size_t i = first; i < last; ++i) {
    if (!held[i]) continue;
    const bool joins = !runs.empty() && runs.back().second + 1 == i &&
                       !pausesBetween(words[i - 1], words[i], transcript.levels, kLongPause);
    if (joins)
      runs.back().second = i;
    else
      runs.push_back({i, i});
  }
  return runs;
}

// Runs of kept words, sentence by sentence: clutter dropped.
WordRuns wordRuns(const Transcript& transcript, const std::vector<Sentence>& sentences,
                  const std::vector<std::size_t>& chosen, const std::vector<bool>& clutter) {
  std::vector<bool> held(clutter.size());
  std::transform(clutter.begin(), clutter.end(), held.begin(), std::logical_not<>());
  WordRuns runs;
  for (std::size_t index : chosen) {
    const WordRuns sentence =
        runsWithin(transcript, held, sentences[index].first, sentences[index].last + 1);
    runs.insert(runs.end(), sentence.begin(), sentence.end());
  }
  return runs;
}

}  // namespace

double Story::length() const {
  double total = 0;
  for (const Span& segment : segments) total += segment.length();
  return total;
}

WordRuns heldRuns(const Transcript& transcript, const std::vector<bool>& held) {
  return runsWithin(transcript, held, 0, held.size());
}

void keepRuns(Story& story, const Transcript& transcript, const WordRuns& runs) {
  story.segments = cutsAround(transcript.words, runs, transcript.duration);
  story.words.clear();
  for (const auto& [first, last] : runs)
    story.words.insert(story.words.end(), transcript.words.begin() + first,
                       transcript.words.begin() + last + 1);
}

std::vector<Span> cutsAround(const std::vector<Word>& words, const WordRuns& runs,
                             double takeLength) {
  std::vector<Span> cuts;
  for (const auto& [first, last] : runs) {
    const double before = first > 0 ? std::min(words[first - 1].end, words[first].start) : 0;
    const double after =
        last + 1 < words.size() ? std::max(words[last + 1].start, words[last].end) : takeLength;
    Span cut{std::max(words[first].start - kPadding, before),
             std::min(words[last].end + kPadding, after)};
    cut.start = std::max(cut.start, 0.0);
    cut.end = std::min(cut.end, takeLength);
    if (!cuts.empty() && cut.start <= cuts.back().end)
      cuts.back().end = std::max(cuts.back().end, cut.end);
    else if (cut.length() > 0)
      cuts.push_back(cut);
  }
  return cuts;
}

Story deviceStory(const Transcript& transcript, const std::string& theme, Budget budget) {
  Outline outline = outlineOf(transcript);
  scoreSentences(outline.sentences, transcript.words, theme);
  const double longest = std::min(budget.longest, transcript.duration);
  // Over a noise, cuts end further into the pauses after sentences: the budget keeps room.
  const double tail = transcript.clear ? kPadding : kUnderNoiseTailSeconds;
  const std::vector<std::size_t> chosen = choose(outline, transcript.words, longest, tail);
  Story story;
  keepRuns(story, transcript,
           wordRuns(transcript, outline.sentences, chosen, outline.clutter));
  const Sentence& opening = outline.sentences[outline.hook];
  const std::vector<Word> hookWords(transcript.words.begin() + opening.first,
                                    transcript.words.begin() + opening.last + 1);
  writeStoryText(story, hookWords, theme, transcript, budget);
  story.brain = "device";
  return story;
}

}  // namespace vorn::cut
