// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Listen.h"

#include "cut/Chunkwise.h"
#include "cut/Denoise.h"
#include "cut/EspeakPhones.h"
#include "cut/NoiseFlatness.h"
#include "cut/Pauses.h"
#include "cut/ScriptWords.h"
#include "cut/WordConfidence.h"
#include "cut/WordEdges.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>

namespace vorn::cut {
namespace {

// A chunk's share may end at a pause of the script this many words from where free
// recognition put its end.
constexpr long kFarthestBreak = 12;
// A chunk's share may end at a pause of the script this many words from where its length at
// the reading pace puts its end.
constexpr long kPacedReach = 4;
// Words a second of chunk, until the take has read some of its script: 160 a minute.
constexpr double kTypicalPace = 2.7;
// A chunk's planned share ends on a pause of the script this many words from free
// recognition's placing, or closer.
constexpr long kSnapToBreak = 2;
// Further than that, the pauses either side this many words away or closer are tried too.
constexpr std::size_t kPlannedReach = 6;
// Words laid on a chunk span at least this share of its speech.
constexpr double kLeastSpeechLaid = 0.7;
// What an alignment's fit loses for each share of the chunk's speech left to noise words.
constexpr double kUncoveredCost = 1;
// What it loses for a share that ends where the script has no pause: a chunk ends where the
// reader paused, and over noise, a share a few words short fits about as well (its last
// word stretched over the rest).
constexpr double kOffPauseCost = 0.03;
// Talk heard where the take strays from its script, and anything heard freely over a noise
// the voice does not stand clear of, is a guess: never sure enough to be captioned.
constexpr double kGuessConfidence = 0.4;
// A take whose quiet is less flat than this holds tones (music), not a broad noise.
constexpr double kTonalFlatness = 0.1;

std::span<const std::int16_t> samplesOf(const Pcm& pcm, const Span& chunk) {
  const auto first = std::min<std::size_t>(chunk.start * Pcm::kRate, pcm.samples.size());
  const auto last = std::min<std::size_t>(chunk.end * Pcm::kRate, pcm.samples.size());
  return {pcm.samples.data() + first, last - first};
}

// The script as the recogniser can say it, with the places a reader likely pauses.
struct Script {
  std::vector<std::string> words;
  std::vector<std::size_t> breaks;
  std::vector<std::size_t> sentenceEnds;
  // The words the recogniser cannot say, each with the number of sayable words before it.
  std::vector<std::pair<std::size_t, std::string>> unsayable;
};

// Teaches both recognisers the script's words their dictionary lacks, as espeak-ng says them
// ("sourdough", a name): laid like the rest rather than squeezed between their neighbours.
void teachScriptWords(const std::string& text, Recogniser& recogniser, Recogniser* second) {
  Pronunciations lacking;
  for (const std::string& word : scriptWords(text))
    if (!lacking.contains(word) && recogniser.pronunciation(word).empty())
      if (std::vector<std::string> phones = espeakPhones(word); !phones.empty())
        lacking.emplace(word, std::move(phones));
  if (lacking.empty()) return;
  onTwoThreads([&] { recogniser.learn(lacking); }, [&] {
    if (second) second->learn(lacking);
  });
}

// Drops the words the recogniser cannot say, keeping the breaks between the same words.
Script sayable(const std::string& text, Recogniser& recogniser) {
  const std::vector<std::string> words = scriptWords(text);
  std::vector<std::size_t> keptBefore = {0};
  Script script;
  for (const std::string& word : words) {
    if (!recogniser.pronunciation(word).empty())
      script.words.push_back(word);
    else
      script.unsayable.push_back({script.words.size(), word});
    keptBefore.push_back(script.words.size());
  }
  for (std::size_t at : scriptBreaks(text)) script.breaks.push_back(keptBefore[at]);
  for (std::size_t at : scriptSentenceEnds(text)) script.sentenceEnds.push_back(keptBefore[at]);
  return script;
}

// A script word the recogniser cannot say still belongs in the captions: the words of the
// script it could not say go between their sayable neighbours, in the quiet between them when
// there is room, else in the neighbours' inner halves; as sure as the less sure neighbour.
constexpr double kShortestPlacedWord = 0.12;

Span roomFor(const Word* before, const Word* after, std::size_t count, double takeLength) {
  const double needed = kShortestPlacedWord * double(count);
  if (!before) return {std::max(0.0, after->start - needed), after->start};
  if (!after) return {before->end, std::min(takeLength, before->end + needed)};
  if (after->start - before->end >= needed) return {before->end, after->start};
  return {(before->start + before->end) / 2, (after->start + after->end) / 2};
}

// The script's words where the take reads them, by their place in the script; a word it
// skipped is empty.
using Laid = std::vector<std::optional<Word>>;

// The words laid, in order, with each unsayable script word between its sayable neighbours
// where at least one of them was read.
std::vector<Word> withUnsayable(const Laid& laid, const Script& script, double takeLength) {
  std::vector<Word> all;
  std::size_t next = 0;
  for (std::size_t k = 0; k <= laid.size(); ++k) {
    std::vector<std::string> run;
    for (; next < script.unsayable.size() && script.unsayable[next].first == k; ++next)
      run.push_back(script.unsayable[next].second);
    Word* before = k > 0 && laid[k - 1] && !all.empty() ? &all.back() : nullptr;
    const Word* after = k < laid.size() && laid[k] ? &*laid[k] : nullptr;
    if (!run.empty() && (before || after)) {
      const Span room = roomFor(before, after, run.size(), takeLength);
      const double confidence =
          std::min(before ? before->confidence : 1.0, after ? after->confidence : 1.0);
      if (before) before->end = std::min(before->end, room.start);
      const double share = room.length() / double(run.size());
      for (std::size_t i = 0; i < run.size(); ++i)
        all.push_back({run[i], room.start + double(i) * share, room.start + double(i + 1) * share,
                       confidence});
    }
    if (!after) continue;
    Word word = *after;
    if (!all.empty()) word.start = std::max(word.start, all.back().end);
    all.push_back(word);
  }
  return all;
}

// The words laid on the script are its words in order: each one that ends a sentence of it
// is marked so.
void markSentenceEnds(Laid& laid, const Script& script) {
  for (std::size_t end : script.sentenceEnds)
    if (end > 0 && end <= laid.size() && laid[end - 1]) laid[end - 1]->endsSentence = true;
}

// Whether the script has a pause after its first `at` words.
bool pausesAt(const Script& script, std::size_t at) {
  return std::binary_search(script.breaks.begin(), script.breaks.end(), at);
}

// Where a chunk's share of the script may end: free recognition's placing, and where the
// chunk's length at the take's reading pace puts it (over noise, free recognition can hear
// far too few words in a chunk, and its placing says nothing).
struct Ends {
  std::size_t nominal;
  std::size_t paced;
};

// The script's pauses within `reach` words of `around`, nearest first.
std::vector<std::size_t> breaksNear(const Script& script, std::size_t around, long reach) {
  std::vector<std::size_t> near;
  for (std::size_t at : script.breaks)
    if (std::labs(long(at) - long(around)) <= reach) near.push_back(at);
  std::stable_sort(near.begin(), near.end(), [&](std::size_t a, std::size_t b) {
    return std::labs(long(a) - long(around)) < std::labs(long(b) - long(around));
  });
  return near;
}

// Where the chunk's share of the script may end, likeliest first: where free recognition put
// it, a word or two either side, the script's pauses nearest to it, then those nearest to
// where the pace puts it; only the first and the pause nearest the pace's unless `wide`.
std::vector<std::size_t> candidateEnds(const Script& script, std::size_t begin, Ends guess,
                                       bool wide) {
  std::vector<std::size_t> ends;
  const auto add = [&](long end) {
    if (end > long(begin) && end <= long(script.words.size()) &&
        std::find(ends.begin(), ends.end(), std::size_t(end)) == ends.end())
      ends.push_back(std::size_t(end));
  };
  const std::vector<std::size_t> paced = breaksNear(script, guess.paced, kPacedReach);
  if (!wide) {
    add(long(guess.nominal));
    if (!paced.empty()) add(long(paced.front()));
    return ends;
  }
  for (int shift : {0, -1, 1, -2, 2}) add(long(guess.nominal) + shift);
  for (std::size_t at : breaksNear(script, guess.nominal, kFarthestBreak)) add(long(at));
  for (std::size_t at : paced) add(long(at));
  return ends;
}

// The share of the chunk's speech that lies under the words laid on it.
double speechCovered(const std::vector<Word>& words, const Span& chunk, const SoundLevels& levels) {
  int speech = 0, covered = 0;
  std::size_t w = 0;
  for (double t = chunk.start; t < chunk.end; t += SoundLevels::kStepSeconds) {
    if (levels.at(t) < levels.speechDb) continue;
    ++speech;
    while (w < words.size() && words[w].end <= t) ++w;
    if (w < words.size() && words[w].start <= t) ++covered;
  }
  return speech > 0 ? double(covered) / speech : 1;
}

// Whether the script words [begin, end) laid on a chunk take up most of its speech: a few
// script words can also be matched to talk that does not say them by hiding most of it in
// the recogniser's noise words. The words it cannot say between them leave their sound to
// the noise words too.
bool fillsSpeech(double covered, const Script& script, std::size_t begin, std::size_t end) {
  const auto unsayable = std::count_if(
      script.unsayable.begin(), script.unsayable.end(),
      [&](const auto& word) { return word.first > begin && word.first < end; });
  const double said = double(end - begin) / double(end - begin + std::size_t(unsayable));
  return covered >= kLeastSpeechLaid * said;
}

// Where the reader may pause within the script's words from `begin` to `end`, as indices into
// those words: before the first (a chunk opens on a pause) and at the script's own pauses.
std::vector<std::size_t> pausesWithin(const Script& script, std::size_t begin, std::size_t end) {
  std::vector<std::size_t> pauses{0};
  for (std::size_t at : script.breaks)
    if (at > begin && at < end) pauses.push_back(at - begin);
  return pauses;
}

// The recognisers alignments run on: with a second, on two threads.
struct Recognisers {
  Recogniser& first;
  Recogniser* second = nullptr;
};

// The alignment of the chunk to the script words from `begin` to one of `ends` that fits its
// sound best, among those that match it; nothing when none does. A share that ends a few
// words short or long still matches (the sound left over hides in noise words, or words
// squeeze in), but fits worse than the one that ends where the reader paused.
std::vector<Word> bestFit(const Pcm& pcm, const SoundLevels& levels, Recognisers recognisers,
                          const Span& chunk, const Script& script, std::size_t begin,
                          const std::vector<std::size_t>& ends) {
  std::vector<Alignment> tried(ends.size());
  forEachAlternately(ends.size(), recognisers.first, recognisers.second,
                     [&](Recogniser& recogniser, std::size_t i) {
                       if (ends[i] <= begin) return;
                       tried[i] = recogniser.align(samplesOf(pcm, chunk), chunk.start,
                                                   {script.words.begin() + long(begin),
                                                    script.words.begin() + long(ends[i])},
                                                   pausesWithin(script, begin, ends[i]));
                     });
  std::optional<Alignment> best;
  for (std::size_t i = 0; i < ends.size(); ++i) {
    Alignment& placed = tried[i];
    if (placed.words.empty()) continue;
    const double covered = speechCovered(placed.words, chunk, levels);
    if (!fillsSpeech(covered, script, begin, ends[i])) continue;
    // Speech left to the noise words fits them well: a share a few words short pays for it.
    placed.fit -= kUncoveredCost * (1 - covered);
    if (ends[i] < script.words.size() && !pausesAt(script, ends[i])) placed.fit -= kOffPauseCost;
    if (!best || placed.fit > best->fit) best = std::move(placed);
  }
  return best ? std::move(best->words) : std::vector<Word>{};
}

// Aligns the chunk to the script words from `begin` to one of the candidate ends (for the
// last chunk, to the script's end too); nothing when none matches the sound.
std::vector<Word> alignFrom(const Pcm& pcm, const SoundLevels& levels, Recognisers recognisers,
                            const Span& chunk, const Script& script, std::size_t begin,
                            Ends guess, bool last, bool wide) {
  std::vector<std::size_t> ends = candidateEnds(script, begin, guess, wide);
  if (last && (ends.empty() || ends.front() != script.words.size()))
    ends.insert(ends.begin(), script.words.size());
  return bestFit(pcm, levels, recognisers, chunk, script, begin, ends);
}

// A planned share's end, and when it is no pause of the script, the script's pauses nearest
// to it either side: free recognition can misplace a share's end by a few words.
std::vector<std::size_t> plannedEnds(const Script& script, std::size_t begin, std::size_t end) {
  std::vector<std::size_t> ends = {end};
  if (pausesAt(script, end)) return ends;
  const auto after = std::upper_bound(script.breaks.begin(), script.breaks.end(), end);
  if (after != script.breaks.end() && *after - end <= kPlannedReach) ends.push_back(*after);
  if (after != script.breaks.begin() && *std::prev(after) > begin &&
      end - *std::prev(after) <= kPlannedReach)
    ends.push_back(*std::prev(after));
  return ends;
}

std::vector<std::vector<Word>> transcribeAll(const Pcm& pcm, Recogniser& first, Recogniser* second,
                                             const std::vector<Span>& chunks) {
  std::vector<std::vector<Word>> heard(chunks.size());
  forEachChunk(chunks, first, second, [&](Recogniser& recogniser, std::size_t c) {
    heard[c] = recogniser.transcribe(samplesOf(pcm, chunks[c]), chunks[c].start);
  });
  return heard;
}

std::vector<Word> joined(const std::vector<std::vector<Word>>& perChunk) {
  std::vector<Word> words;
  for (const std::vector<Word>& chunkWords : perChunk)
    words.insert(words.end(), chunkWords.begin(), chunkWords.end());
  return words;
}

// The break of the script nearest to `at`, when one is within reach.
std::size_t nearestBreak(const Script& script, std::size_t at) {
  std::size_t nearest = at;
  long distance = kSnapToBreak + 1;
  for (std::size_t place : script.breaks)
    if (std::labs(long(place) - long(at)) < distance) {
      distance = std::labs(long(place) - long(at));
      nearest = place;
    }
  return nearest;
}

// The script words each chunk holds, [begin, end), as free recognition placed them. A chunk
// ends at a pause and a reader pauses where the script does, so a share's end a word or two
// from one of the script's pauses moves onto it.
std::vector<std::pair<std::size_t, std::size_t>> sharesOf(const std::vector<int>& chunkOf,
                                                          std::size_t chunkCount,
                                                          const Script& script) {
  std::vector<std::pair<std::size_t, std::size_t>> shares;
  std::size_t begin = 0;
  for (std::size_t c = 0; c < chunkCount; ++c) {
    auto end =
        std::size_t(std::upper_bound(chunkOf.begin(), chunkOf.end(), int(c)) - chunkOf.begin());
    if (c + 1 < chunkCount) end = std::max(nearestBreak(script, end), begin);
    shares.push_back({begin, end});
    begin = end;
  }
  return shares;
}

// Where the chunk reads the script and the words it lays there: its planned share when that
// starts where the reading stands; else the script from there to an end that matches (only
// two ends right after talk off the script: a take that strays far would otherwise cost ten
// alignments a chunk); else its planned share further on (the reader skipped some of the
// script); else nothing: the chunk is talk off the script. `paced` is about how many script
// words the chunk's length holds.
std::pair<std::size_t, std::vector<Word>> layChunk(const Pcm& pcm, const SoundLevels& levels,
                                                   Recognisers recognisers, const Span& chunk,
                                                   const Script& script,
                                                   std::size_t begin,
                                                   std::pair<std::size_t, std::size_t> share,
                                                   const std::vector<Word>& planned, bool last,
                                                   bool afterTalk, std::size_t paced) {
  if (begin == share.first && !planned.empty()) return {begin, planned};
  const Ends guess{std::max(share.second, begin), begin + paced};
  std::vector<Word> placed =
      alignFrom(pcm, levels, recognisers, chunk, script, begin, guess, last, !afterTalk);
  if (!placed.empty()) return {begin, std::move(placed)};
  if (share.first > begin && !planned.empty()) return {share.first, planned};
  return {begin, {}};
}

// Whether talk heard between the script words laid from `from` lies where the script has a
// word the recogniser cannot say: that is the word's sound, not talk.
bool onUnsayable(const Word& talk, std::span<const Word> laid, std::size_t from, const Script& script) {
  const auto before = std::size_t(std::count_if(laid.begin(), laid.end(),
                                                [&](const Word& word) { return word.end <= talk.start; }));
  return before > 0 && std::any_of(script.unsayable.begin(), script.unsayable.end(),
                                   [&](const auto& word) { return word.first == from + before; });
}

// How fast the take reads its script, in words a second of the chunks it read them in.
class ReadingPace {
 public:
  void read(std::size_t words, const Span& chunk) {
    words_ += double(words);
    seconds_ += chunk.length();
  }
  // About how many script words a chunk this long holds.
  std::size_t wordsIn(const Span& chunk) const {
    const double pace = seconds_ > 0 ? words_ / seconds_ : kTypicalPace;
    return std::size_t(std::lround(chunk.length() * pace));
  }

 private:
  double words_ = 0, seconds_ = 0;
};

// The script laid on the take, and the talk around its words: first tries of its phrases
// said again at once, fillers said between them.
struct Reading {
  Laid laid;
  std::vector<Word> talk;
};

// Lays the script on the chunks: free recognition (`heard`, per chunk) says roughly which
// words fall in which chunk; every chunk is aligned to that share on both threads; then, in
// order, each chunk is laid where the reading stands (`layChunk`).
Reading toScript(const Pcm& pcm, const SoundLevels& levels, Recogniser& first, Recogniser* second,
              const std::vector<Span>& chunks, const std::vector<std::vector<Word>>& heard,
              const Script& script) {
  std::vector<std::string> heardWords;
  std::vector<int> heardChunk;
  std::vector<double> lengths;
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    lengths.push_back(chunks[c].length());
    for (const Word& word : heard[c]) {
      heardWords.push_back(word.text);
      heardChunk.push_back(int(c));
    }
  }
  const auto shares = sharesOf(chunkOfEachWord(script.words, heardWords, heardChunk, lengths),
                               chunks.size(), script);
  const std::vector<Span> searched = withRoomAfter(chunks, pcm.duration());
  std::vector<std::vector<Word>> planned(chunks.size());
  forEachChunk(chunks, first, second, [&](Recogniser& recogniser, std::size_t c) {
    const auto [begin, end] = shares[c];
    if (end <= begin) return;
    planned[c] = bestFit(pcm, levels, {recogniser}, searched[c], script, begin,
                         plannedEnds(script, begin, end));
  });
  Reading reading{Laid(script.words.size()), {}};
  std::size_t begin = 0;
  // When no chunk matches its share, the take may not read the script at all, or free
  // recognition misplaced every share: each chunk tries only two ends until one matches.
  bool afterTalk =
      std::all_of(planned.begin(), planned.end(), [](const auto& words) { return words.empty(); });
  ReadingPace pace;
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    auto [from, placed] =
        layChunk(pcm, levels, {first, second}, searched[c], script, begin, shares[c], planned[c],
                 c + 1 == chunks.size(), afterTalk, pace.wordsIn(chunks[c]));
    // Script words laid on the quiet after a chunk's speech are the next chunk's: free
    // recognition gave this one a word too many, and the next is aligned from that word.
    while (!placed.empty() && liesOnSilence(placed.back(), levels)) placed.pop_back();
    // The script's words are laid in order; first tries and fillers are talk.
    const auto talk = std::stable_partition(placed.begin(), placed.end(),
                                            [](const Word& word) { return !word.offScript; });
    for (auto word = talk; word != placed.end(); ++word)
      if (!onUnsayable(*word, {placed.begin(), talk}, from, script)) reading.talk.push_back(*word);
    placed.erase(talk, placed.end());
    for (std::size_t i = 0; i < placed.size(); ++i) reading.laid[from + i] = placed[i];
    if (!placed.empty()) {
      begin = from + placed.size();
      pace.read(placed.size(), chunks[c]);
    }
    afterTalk = placed.empty();
  }
  return reading;
}

// Where no script word was laid, the take said something else: what was heard there stays,
// marked unsure, so the story keeps the talk but no caption shows a guess. A first try of a
// phrase said again, and a filler, stay too, for the story to leave out.
void keepUnscriptedTalk(std::vector<Word>& words, const std::vector<std::vector<Word>>& heard,
                        const std::vector<Span>& chunks, std::vector<Word> talk) {
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    const bool scripted = std::any_of(words.begin(), words.end(), [&](const Word& word) {
      const double middle = (word.start + word.end) / 2;
      return middle >= chunks[c].start && middle <= chunks[c].end;
    });
    if (scripted) continue;
    for (Word word : heard[c]) {
      word.confidence = std::min(word.confidence, kGuessConfidence);
      word.offScript = true;
      talk.push_back(word);
    }
  }
  words.insert(words.end(), talk.begin(), talk.end());
  std::stable_sort(words.begin(), words.end(),
                   [](const Word& a, const Word& b) { return a.start < b.start; });
}

void rate(Laid& laid, const std::vector<Word>& heard, const SoundLevels& levels) {
  std::vector<Word> words;
  for (const auto& word : laid)
    if (word) words.push_back(*word);
  rateScriptWords(words, heard, levels);
  auto rated = words.begin();
  for (auto& word : laid)
    if (word) word = *rated++;
}

// The script's words laid on the take as far as it reads them, each as sure as the sound and
// free recognition make it, with the talk that strays from the script as heard; nothing
// when the take does not read the script.
std::vector<Word> followScript(const Pcm& pcm, Recogniser& first, Recogniser* second,
                               const std::vector<Span>& chunks,
                               const std::vector<std::vector<Word>>& heard, const Script& script,
                               const SoundLevels& levels) {
  Reading reading = toScript(pcm, levels, first, second, chunks, heard, script);
  Laid& laid = reading.laid;
  if (std::none_of(laid.begin(), laid.end(), [](const auto& word) { return word.has_value(); }))
    return {};
  rate(laid, joined(heard), levels);
  markSentenceEnds(laid, script);
  std::vector<Word> words = withUnsayable(laid, script, pcm.duration());
  keepUnscriptedTalk(words, heard, chunks, std::move(reading.talk));
  return words;
}

// The words heard without a script. Over a noise the voice does not stand clear of, free
// recognition is sure of words it mostly mishears: none is sure enough to be published.
std::vector<Word> heardFreely(const std::vector<std::vector<Word>>& heard, bool clear) {
  std::vector<Word> words = joined(heard);
  if (!clear)
    for (Word& word : words) word.confidence = std::min(word.confidence, kGuessConfidence);
  return words;
}

}  // namespace

Transcript listen(const Pcm& sound, const RecogniserMaker& make, const std::string& script) {
  const SoundLevels recorded = SoundLevels::of(sound);
  const bool clear = voiceStandsClear(recorded);
  // A broad noise (a fan, hiss) is heard as the murmur of an "uh"; a music bed's tones are not.
  const bool fillersHeard = clear || noiseFlatness(sound) < kTonalFlatness;
  const Listening listening = forListening(sound, recorded);
  const Pcm& pcm = listening.pcm;
  Transcript transcript;
  transcript.duration = pcm.duration();
  transcript.clear = clear;
  transcript.fillersHeard = fillersHeard;
  // A clear voice is listened to as recorded: its levels are measured already.
  transcript.levels = clear ? recorded : SoundLevels::of(pcm);
  const std::vector<Span> chunks = chunksForListening(findSpeech(pcm), transcript.duration);
  // Loading a model takes a while: both load at once.
  std::unique_ptr<Recogniser> recogniser, second;
  onTwoThreads([&] { recogniser = make(); },
               [&] { second = chunks.size() > 1 ? make() : nullptr; });
  teachScriptWords(script, *recogniser, second.get());
  const Script expected = sayable(script, *recogniser);
  const bool scripted = !expected.words.empty();
  const auto setUp = [&](bool roughly) {
    for (Recogniser* each : {recogniser.get(), second.get()})
      if (each) {
        each->listenForFillers(fillersHeard);
        each->transcribeRoughly(roughly);
      }
  };
  setUp(scripted);
  auto heard = transcribeAll(pcm, *recogniser, second.get(), chunks);
  if (scripted)
    transcript.words = followScript(pcm, *recogniser, second.get(), chunks, heard, expected,
                                    transcript.levels);
  transcript.fromScript = !transcript.words.empty();
  if (!transcript.fromScript && scripted) {
    // The take does not read its script: what is heard is all there is, so it is heard again
    // with care.
    setUp(false);
    heard = transcribeAll(pcm, *recogniser, second.get(), chunks);
  }
  if (!transcript.fromScript) transcript.words = heardFreely(heard, clear);
  if (transcript.words.empty())
    throw CutError("The take holds no usable speech: nothing in it could be heard as words.");
  // Heard and laid in the sound as it came, then moved back to the take's times: the same
  // search over sound moved by a fraction of a frame may take another path.
  const Pcm said = onTime(listening);
  if (listening.late > 0) {
    transcript.levels = SoundLevels::of(said);
    for (Word& word : transcript.words) {
      word.start = std::max(0.0, word.start - listening.late);
      word.end = std::max(word.start, word.end - listening.late);
    }
  }
  const Pronounce pronounce = [&](const std::string& word) { return recogniser->pronunciation(word); };
  if (transcript.fromScript) splitHesitations(transcript.levels, transcript.words, pronounce);
  startPastTails(transcript.levels, transcript.words);
  measureLoudness(said, transcript.words);
  placeOnsets(transcript.levels, transcript.words, pronounce);
  // Over a noise the aligner runs words on into the quiet after them, and talk after a word
  // may be one no word holds: a filler not listened for, or one the noise hid.
  if (!clear) {
    markTalkAfter(transcript.levels, transcript.words, transcript.duration);
    markVoiceEnds(transcript.levels, transcript.words);
  }
  return transcript;
}

void measureLoudness(const Pcm& pcm, std::vector<Word>& words) {
  for (Word& word : words) {
    const auto from = std::size_t(std::clamp(word.start, 0.0, pcm.duration()) * Pcm::kRate);
    const auto to = std::size_t(std::clamp(word.end, 0.0, pcm.duration()) * Pcm::kRate);
    if (to <= from) continue;
    double power = 0;
    for (std::size_t i = from; i < to; ++i) power += double(pcm.samples[i]) * pcm.samples[i];
    const double rms = std::sqrt(power / double(to - from)) / 32768.0;
    word.loudness = std::min(-0.01, 20 * std::log10(std::max(rms, 1e-6)));
  }
}

}  // namespace vorn::cut
