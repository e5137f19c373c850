// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Listen.h"

#include "cut/Chunkwise.h"
#include "cut/Pauses.h"
#include "cut/ScriptWords.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

namespace vorn::cut {
namespace {

// A word the aligner could not place in its chunk gets an even share of the chunk.
constexpr double kGuessedConfidence = 0.5;
// Below this share of heard words found in the script, the user did not read the script.
constexpr double kLeastScriptShare = 0.3;
// A chunk's share may end at a pause of the script this many words from where free
// recognition put its end.
constexpr long kFarthestBreak = 12;

bool readsScript(const std::vector<Word>& heard, const std::vector<std::string>& script) {
  if (heard.empty()) return true;
  const auto inScript = std::count_if(heard.begin(), heard.end(), [&](const Word& word) {
    return std::find(script.begin(), script.end(), word.text) != script.end();
  });
  return double(inScript) / heard.size() >= kLeastScriptShare;
}

std::span<const std::int16_t> samplesOf(const Pcm& pcm, const Span& chunk) {
  const auto first = std::min<std::size_t>(chunk.start * Pcm::kRate, pcm.samples.size());
  const auto last = std::min<std::size_t>(chunk.end * Pcm::kRate, pcm.samples.size());
  return {pcm.samples.data() + first, last - first};
}

std::vector<Word> spread(const std::vector<std::string>& words, const Span& chunk) {
  std::vector<Word> placed;
  const double share = chunk.length() / std::max<std::size_t>(words.size(), 1);
  for (std::size_t i = 0; i < words.size(); ++i)
    placed.push_back(
        {words[i], chunk.start + i * share, chunk.start + (i + 1) * share, kGuessedConfidence});
  return placed;
}

// The script as the recogniser can say it, with the places a reader likely pauses.
struct Script {
  std::vector<std::string> words;
  std::vector<std::size_t> breaks;
  std::vector<std::size_t> sentenceEnds;
  // The words the recogniser cannot say, each with the number of sayable words before it.
  std::vector<std::pair<std::size_t, std::string>> unsayable;
};

// Drops the words the recogniser cannot say, keeping the breaks between the same words.
Script sayable(const std::string& text, Recogniser& recogniser) {
  const std::vector<std::string> words = scriptWords(text);
  std::vector<std::size_t> keptBefore = {0};
  Script script;
  for (const std::string& word : words) {
    if (recogniser.knows(word))
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

void placeUnsayable(std::vector<Word>& words, const Script& script, double takeLength) {
  std::vector<Word> all;
  std::size_t next = 0;
  for (std::size_t k = 0; k <= words.size(); ++k) {
    std::vector<std::string> run;
    for (; next < script.unsayable.size() && script.unsayable[next].first == k; ++next)
      run.push_back(script.unsayable[next].second);
    if (!run.empty()) {
      Word* before = all.empty() ? nullptr : &all.back();
      const Word* after = k < words.size() ? &words[k] : nullptr;
      const Span room = roomFor(before, after, run.size(), takeLength);
      const double confidence =
          std::min(before ? before->confidence : 1.0, after ? after->confidence : 1.0);
      if (before) before->end = std::min(before->end, room.start);
      const double share = room.length() / double(run.size());
      for (std::size_t i = 0; i < run.size(); ++i)
        all.push_back({run[i], room.start + double(i) * share, room.start + double(i + 1) * share,
                       confidence});
    }
    if (k == words.size()) break;
    Word word = words[k];
    if (!all.empty()) word.start = std::max(word.start, all.back().end);
    all.push_back(word);
  }
  words = std::move(all);
}

// The words laid on the script are its words in order: each one that ends a sentence of it
// is marked so.
void markSentenceEnds(std::vector<Word>& words, const Script& script) {
  for (std::size_t end : script.sentenceEnds)
    if (end > 0 && end <= words.size()) words[end - 1].endsSentence = true;
}

// Where the chunk's share of the script may end, likeliest first: where free recognition put
// it, a word or two either side, then the script's pauses nearest to it.
std::vector<std::size_t> candidateEnds(const Script& script, std::size_t begin,
                                       std::size_t nominal) {
  std::vector<std::size_t> ends;
  const auto add = [&](long end) {
    if (end > long(begin) && end <= long(script.words.size()) &&
        std::find(ends.begin(), ends.end(), std::size_t(end)) == ends.end())
      ends.push_back(std::size_t(end));
  };
  for (int shift : {0, -1, 1, -2, 2}) add(long(nominal) + shift);
  std::vector<std::size_t> breaks = script.breaks;
  std::stable_sort(breaks.begin(), breaks.end(), [&](std::size_t a, std::size_t b) {
    return std::labs(long(a) - long(nominal)) < std::labs(long(b) - long(nominal));
  });
  for (std::size_t at : breaks)
    if (std::labs(long(at) - long(nominal)) <= kFarthestBreak) add(long(at));
  return ends;
}

// Aligns the chunk to the script words from `begin` to one of the candidate ends; the last
// chunk takes all that is left. When none matches, the nominal share is spread evenly.
std::vector<Word> alignShare(const Pcm& pcm, Recogniser& recogniser, const Span& chunk,
                             const Script& script, std::size_t begin, std::size_t nominal,
                             bool last) {
  const auto shareUpTo = [&](std::size_t end) {
    return std::vector<std::string>(script.words.begin() + begin, script.words.begin() + end);
  };
  if (last) nominal = script.words.size();
  const std::vector<std::size_t> ends =
      last ? std::vector<std::size_t>{nominal} : candidateEnds(script, begin, nominal);
  for (std::size_t end : ends) {
    if (end <= begin) continue;
    std::vector<Word> placed = recogniser.align(samplesOf(pcm, chunk), chunk.start, shareUpTo(end));
    if (!placed.empty()) return placed;
  }
  return spread(shareUpTo(std::max(nominal, begin)), chunk);
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

// The script words each chunk holds, [begin, end), as free recognition placed them.
std::vector<std::pair<std::size_t, std::size_t>> sharesOf(const std::vector<int>& chunkOf,
                                                          std::size_t chunkCount) {
  std::vector<std::pair<std::size_t, std::size_t>> shares;
  std::size_t begin = 0;
  for (std::size_t c = 0; c < chunkCount; ++c) {
    const auto end =
        std::size_t(std::upper_bound(chunkOf.begin(), chunkOf.end(), int(c)) - chunkOf.begin());
    shares.push_back({begin, end});
    begin = end;
  }
  return shares;
}

// Lays the script on the chunks: free recognition (`heard`, per chunk) says roughly which
// words fall in which chunk; every chunk is aligned to that share on both threads; then, in
// order, a chunk whose share moved (the chunk before took a word more or less) or did not
// match is aligned again from where the one before ended. A take that does not read the
// script keeps what was heard.
std::vector<Word> toScript(const Pcm& pcm, Recogniser& first, Recogniser* second,
                           const std::vector<Span>& chunks,
                           const std::vector<std::vector<Word>>& heard, const Script& script,
                           bool& followed) {
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
  followed = readsScript(joined(heard), script.words);
  if (!followed) return joined(heard);
  const auto shares =
      sharesOf(chunkOfEachWord(script.words, heardWords, heardChunk, lengths), chunks.size());
  std::vector<std::vector<Word>> planned(chunks.size());
  forEachChunk(chunks, first, second, [&](Recogniser& recogniser, std::size_t c) {
    const auto [begin, end] = shares[c];
    if (end > begin)
      planned[c] = recogniser.align(samplesOf(pcm, chunks[c]), chunks[c].start,
                                    {script.words.begin() + begin, script.words.begin() + end});
  });
  std::vector<Word> words;
  std::size_t begin = 0;
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    const bool asPlanned = begin == shares[c].first && !planned[c].empty();
    std::vector<Word> placed =
        asPlanned ? planned[c]
                  : alignShare(pcm, first, chunks[c], script, begin,
                               std::max(shares[c].second, begin), c + 1 == chunks.size());
    begin += placed.size();
    words.insert(words.end(), placed.begin(), placed.end());
  }
  return words;
}

}  // namespace

Transcript listen(const Pcm& pcm, const RecogniserMaker& make, const std::string& script) {
  Transcript transcript;
  transcript.duration = pcm.duration();
  const std::vector<Span> chunks = chunksForListening(findSpeech(pcm), transcript.duration);
  const std::unique_ptr<Recogniser> recogniser = make();
  // Both recognisers are made here, before the second thread starts.
  const std::unique_ptr<Recogniser> second = chunks.size() > 1 ? make() : nullptr;
  const auto heard = transcribeAll(pcm, *recogniser, second.get(), chunks);
  const Script expected = sayable(script, *recogniser);
  transcript.words = expected.words.empty() ? joined(heard)
                                            : toScript(pcm, *recogniser, second.get(), chunks,
                                                       heard, expected, transcript.fromScript);
  if (transcript.fromScript && transcript.words.size() == expected.words.size()) {
    markSentenceEnds(transcript.words, expected);
    placeUnsayable(transcript.words, expected, transcript.duration);
  }
  if (transcript.words.empty())
    throw CutError("The take holds no usable speech: nothing in it could be heard as words.");
  measureLoudness(pcm, transcript.words);
  transcript.levels = SoundLevels::of(pcm);
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
