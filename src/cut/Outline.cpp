// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Outline.h"

#include "cut/Clutter.h"

#include <algorithm>
#include <optional>
#include <set>

namespace vorn::cut {
namespace {

using Topics = std::set<std::string>;

constexpr std::size_t kLongestAside = 3;
// Fewer named things than this are too little to tell a change of topic from chance.
constexpr std::size_t kFewestAsideTopics = 3;
// The punchline is looked for among this many sentences at the end.
constexpr std::size_t kPunchlineReach = 3;

// What each sentence names, its clutter left out.
std::vector<Topics> topicsOf(const Outline& outline, const std::vector<Word>& words) {
  std::vector<Topics> topics;
  for (const Sentence& sentence : outline.sentences) {
    Topics named;
    for (std::size_t i = sentence.first; i <= sentence.last; ++i)
      if (!outline.clutter[i] && isContentWord(words[i].text))
        named.insert(topicOf(words[i].text));
    topics.push_back(std::move(named));
  }
  return topics;
}

bool share(const Topics& a, const Topics& b) {
  return std::any_of(a.begin(), a.end(),
                     [&](const std::string& topic) { return b.contains(topic); });
}

// With a known script, the sentences of talk it doesn't hold: the creator planned the story
// without them (an ad-lib, a word to the crew), and none of their words is sure enough to be
// captioned.
std::vector<bool> offScriptIn(const Outline& outline, const std::vector<Word>& words) {
  std::vector<bool> off;
  for (const Sentence& sentence : outline.sentences) {
    bool talk = true;
    for (std::size_t i = sentence.first; i <= sentence.last; ++i)
      talk = talk && (words[i].offScript || outline.clutter[i]);
    off.push_back(talk);
  }
  return off;
}

// The opening: the first sentence that names something once the clutter is out (a false
// start or a lone "um" is no opening) and is not talk off the script.
std::size_t hookOf(const std::vector<Topics>& topics, const std::vector<bool>& offScript) {
  for (std::size_t s = 0; s < topics.size(); ++s)
    if (!topics[s].empty() && !offScript[s]) return s;
  return 0;
}

std::size_t lastNaming(const std::vector<Topics>& topics) {
  for (std::size_t s = topics.size(); s > 0; --s)
    if (!topics[s - 1].empty()) return s - 1;
  return 0;
}

// Whether sentence `s` shares a topic with a sentence other than itself outside [first, last].
bool onTopic(const std::vector<Topics>& topics, std::size_t s, std::size_t first,
             std::size_t last) {
  for (std::size_t t = 0; t < topics.size(); ++t)
    if (t != s && (t < first || t > last) && share(topics[s], topics[t])) return true;
  return false;
}

// The nearest sentence before `first` (step -1) or after `last` (step +1) that names something.
std::optional<std::size_t> neighbour(const std::vector<Topics>& topics, std::size_t from,
                                     int step) {
  for (long s = long(from) + step; s >= 0 && s < long(topics.size()); s += step)
    if (!topics[std::size_t(s)].empty()) return std::size_t(s);
  return std::nullopt;
}

bool isAside(const std::vector<Topics>& topics, std::size_t first, std::size_t last) {
  Topics named;
  for (std::size_t s = first; s <= last; ++s) named.insert(topics[s].begin(), topics[s].end());
  if (named.size() < kFewestAsideTopics) return false;
  for (std::size_t s = 0; s < topics.size(); ++s)
    if ((s < first || s > last) && share(named, topics[s])) return false;
  const auto before = neighbour(topics, first, -1);
  const auto after = neighbour(topics, last, +1);
  return before && after && onTopic(topics, *before, first, last) &&
         onTopic(topics, *after, first, last);
}

// The shortest aside that starts at each sentence between the hook and the last sentence.
std::vector<bool> asidesIn(const std::vector<Topics>& topics, std::size_t hook, std::size_t end) {
  std::vector<bool> asides(topics.size(), false);
  for (std::size_t first = hook + 1; first < end; ++first)
    for (std::size_t last = first; last < end && last < first + kLongestAside; ++last) {
      if (!isAside(topics, first, last)) continue;
      std::fill(asides.begin() + long(first), asides.begin() + long(last) + 1, true);
      first = last;
      break;
    }
  return asides;
}

std::size_t punchlineOf(const std::vector<Topics>& topics, const std::vector<bool>& asides,
                        std::size_t hook) {
  std::size_t last = std::max(lastNaming(topics), hook);
  while (last > hook && (asides[last] || topics[last].empty())) --last;
  for (std::size_t s = last, seen = 0; s > hook && seen < kPunchlineReach; --s) {
    if (topics[s].empty() || asides[s]) continue;
    if (share(topics[s], topics[hook])) return s;
    ++seen;
  }
  return last;
}

}  // namespace

Outline outlineOf(const Transcript& transcript) {
  Outline outline;
  outline.sentences = splitSentences(transcript.words, transcript.levels);
  if (outline.sentences.empty())
    throw CutError("The take holds no usable speech to build a story on.");
  outline.clutter = clutterIn(transcript);
  const std::vector<Topics> topics = topicsOf(outline, transcript.words);
  const std::vector<bool> offScript = offScriptIn(outline, transcript.words);
  outline.hook = hookOf(topics, offScript);
  outline.asides = asidesIn(topics, outline.hook, lastNaming(topics));
  for (std::size_t s = 0; s < offScript.size(); ++s)
    outline.asides[s] = outline.asides[s] || (offScript[s] && s != outline.hook);
  outline.punchline = punchlineOf(topics, outline.asides, outline.hook);
  return outline;
}

}  // namespace vorn::cut
