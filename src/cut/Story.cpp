// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Story.h"

#include "cut/Clutter.h"
#include "cut/Sentences.h"
#include "cut/StoryText.h"

#include <algorithm>
#include <numeric>

namespace vorn::cut {
namespace {

constexpr double kPadding = 0.12;
// A pause this long inside a kept sentence is cut out.
constexpr double kLongPause = 0.6;

// The hook is the take's opening: its first sentence that says something once the clutter
// is out (a false start or a lone "um" is no opening).
std::size_t hookOf(const std::vector<Sentence>& sentences, const std::vector<Word>& words,
                   const std::vector<bool>& clutter) {
  for (std::size_t s = 0; s < sentences.size(); ++s)
    for (std::size_t i = sentences[s].first; i <= sentences[s].last; ++i)
      if (!clutter[i] && isContentWord(words[i].text)) return s;
  return 0;
}

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

double costOf(const std::vector<Sentence>& sentences, const std::vector<std::size_t>& unit) {
  double cost = 0;
  for (std::size_t s : unit) cost += sentences[s].length() + 2 * kPadding;
  return cost;
}

// A unit is worth its best sentence: a strong question brings its answer along.
double scoreOf(const std::vector<Sentence>& sentences, const std::vector<std::size_t>& unit) {
  double score = sentences[unit.front()].score;
  for (std::size_t s : unit) score = std::max(score, sentences[s].score);
  return score;
}

// The hook's unit and, by score, the later units that still fit; in take order.
std::vector<std::size_t> choose(const std::vector<Sentence>& sentences,
                                const std::vector<Word>& words, std::size_t hook, double longest) {
  const auto units = unitsOf(sentences, words);
  std::vector<std::size_t> later;
  std::size_t hookUnit = 0;
  for (std::size_t u = 0; u < units.size(); ++u) {
    if (units[u].back() < hook) continue;
    if (units[u].front() <= hook) hookUnit = u;
    else later.push_back(u);
  }
  std::stable_sort(later.begin(), later.end(), [&](std::size_t a, std::size_t b) {
    return scoreOf(sentences, units[a]) > scoreOf(sentences, units[b]);
  });
  std::vector<std::size_t> chosen = units[hookUnit];
  double used = costOf(sentences, units[hookUnit]);
  for (std::size_t u : later) {
    const double cost = costOf(sentences, units[u]);
    if (used + cost > longest) continue;
    chosen.insert(chosen.end(), units[u].begin(), units[u].end());
    used += cost;
  }
  std::sort(chosen.begin(), chosen.end());
  return chosen;
}

// Runs of kept words: clutter dropped, split where the speaker pauses long.
WordRuns wordRuns(const std::vector<Word>& words, const std::vector<Sentence>& sentences,
                  const std::vector<std::size_t>& chosen, const std::vector<bool>& clutter) {
  WordRuns runs;
  for (std::size_t index : chosen) {
    bool open = false;
    for (std::size_t i = sentences[index].first; i <= sentences[index].last; ++i) {
      if (clutter[i]) {
        open = false;
        continue;
      }
      if (open && words[i].start - words[runs.back().second].end < kLongPause)
        runs.back().second = i;
      else
        runs.push_back({i, i});
      open = true;
    }
  }
  return runs;
}

}  // namespace

double Story::length() const {
  double total = 0;
  for (const Span& segment : segments) total += segment.length();
  return total;
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
  std::vector<Sentence> sentences = splitSentences(transcript.words);
  if (sentences.empty()) throw CutError("The take holds no usable speech to build a story on.");
  scoreSentences(sentences, transcript.words, theme);
  const std::vector<bool> clutter = clutterIn(transcript.words, transcript.levels);
  const std::size_t hook = hookOf(sentences, transcript.words, clutter);
  const double longest = std::min(budget.longest, transcript.duration);
  const std::vector<std::size_t> chosen = choose(sentences, transcript.words, hook, longest);
  Story story;
  keepRuns(story, transcript, wordRuns(transcript.words, sentences, chosen, clutter));
  const Sentence& opening = sentences[hook];
  const std::vector<Word> hookWords(transcript.words.begin() + opening.first,
                                    transcript.words.begin() + opening.last + 1);
  writeStoryText(story, hookWords, theme, transcript, budget);
  story.brain = "device";
  return story;
}

}  // namespace vorn::cut
