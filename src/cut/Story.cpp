#include "cut/Story.h"

#include "cut/Sentences.h"
#include "cut/StoryText.h"

#include <algorithm>
#include <numeric>

namespace vorn::cut {
namespace {

// The hook is found among the sentences that start this early (in seconds, and as a share
// of the take), so most of the take is left for the body.
constexpr double kHookWindow = 15;
constexpr double kHookShare = 0.25;
constexpr double kPadding = 0.12;
// A pause this long inside a kept sentence is cut out.
constexpr double kLongPause = 0.6;

std::size_t hookOf(const std::vector<Sentence>& sentences, double takeLength) {
  const double window = std::min(kHookWindow, kHookShare * takeLength);
  std::size_t hook = 0;
  for (std::size_t i = 1; i < sentences.size() && sentences[i].start < window; ++i)
    if (sentences[i].score > sentences[hook].score) hook = i;
  return hook;
}

// The hook and, by score, the later sentences that still fit; returned in take order.
std::vector<std::size_t> choose(const std::vector<Sentence>& sentences, std::size_t hook,
                                double longest) {
  std::vector<std::size_t> later(sentences.size() - hook - 1);
  std::iota(later.begin(), later.end(), hook + 1);
  std::stable_sort(later.begin(), later.end(), [&](std::size_t a, std::size_t b) {
    return sentences[a].score > sentences[b].score;
  });
  std::vector<std::size_t> chosen = {hook};
  double used = sentences[hook].length() + 2 * kPadding;
  for (std::size_t index : later) {
    const double cost = sentences[index].length() + 2 * kPadding;
    if (used + cost > longest) continue;
    chosen.push_back(index);
    used += cost;
  }
  std::sort(chosen.begin(), chosen.end());
  return chosen;
}

// A filler is cut out only where the sound falls quiet on both sides of it: one heard inside
// running speech is more likely a misheard piece of a real word.
bool standsApart(const std::vector<Word>& words, std::size_t i, const SoundLevels& levels) {
  const bool before = i == 0 || levels.hasQuietBetween(words[i - 1].end, words[i].start);
  const bool after =
      i + 1 == words.size() || levels.hasQuietBetween(words[i].end, words[i + 1].start);
  return before && after;
}

// Runs of kept words: fillers dropped, split where the speaker pauses long.
WordRuns wordRuns(const std::vector<Word>& words, const std::vector<Sentence>& sentences,
                  const std::vector<std::size_t>& chosen, const SoundLevels& levels) {
  WordRuns runs;
  for (std::size_t index : chosen) {
    bool open = false;
    for (std::size_t i = sentences[index].first; i <= sentences[index].last; ++i) {
      if (isFillerWord(words[i].text) && standsApart(words, i, levels)) {
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
  const std::size_t hook = hookOf(sentences, transcript.duration);
  const double longest = std::min(budget.longest, transcript.duration);
  const std::vector<std::size_t> chosen = choose(sentences, hook, longest);
  Story story;
  keepRuns(story, transcript, wordRuns(transcript.words, sentences, chosen, transcript.levels));
  const Sentence& opening = sentences[hook];
  const std::vector<Word> hookWords(transcript.words.begin() + opening.first,
                                    transcript.words.begin() + opening.last + 1);
  writeStoryText(story, hookWords, theme, transcript, budget);
  story.brain = "device";
  return story;
}

}  // namespace vorn::cut
