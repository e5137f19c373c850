#include "cut/Listen.h"

#include "cut/Pauses.h"
#include "cut/ScriptWords.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <thread>

namespace vorn::cut {
namespace {

// A word the aligner could not place in its chunk gets an even share of the chunk.
constexpr double kGuessedConfidence = 0.5;
// Below this share of heard words found in the script, the user did not read the script.
constexpr double kLeastScriptShare = 0.3;

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

// Aligns the chunk to the script words from `begin`: to those up to `nominal`, or, when the
// sound does not match them, to a word or two fewer or more (the rough split by free
// recognition is often a word off at a pause). The last chunk takes all that is left.
std::vector<Word> alignShare(const Pcm& pcm, Recogniser& recogniser, const Span& chunk,
                             const std::vector<std::string>& script, std::size_t begin,
                             std::size_t nominal, bool last) {
  const auto shareUpTo = [&](std::size_t end) {
    return std::vector<std::string>(script.begin() + begin, script.begin() + end);
  };
  if (last) nominal = script.size();
  for (int shift : {0, -1, 1, -2, 2}) {
    const long end = long(nominal) + shift;
    if ((last && shift != 0) || end <= long(begin) || end > long(script.size())) continue;
    std::vector<Word> placed = recogniser.align(samplesOf(pcm, chunk), chunk.start, shareUpTo(end));
    if (!placed.empty()) return placed;
  }
  return spread(shareUpTo(nominal), chunk);
}

// Where the chunks split into two halves of about equal speech.
std::size_t halfway(const std::vector<Span>& chunks) {
  double total = 0;
  for (const Span& chunk : chunks) total += chunk.length();
  double before = 0;
  std::size_t split = 0;
  while (split < chunks.size() && before + chunks[split].length() / 2 < total / 2)
    before += chunks[split++].length();
  return std::max<std::size_t>(split, 1);
}

// Every chunk transcribed freely, in order: the later half on a second thread with its own
// recogniser (a decoder serves one utterance at a time), so both cores listen.
std::vector<std::vector<Word>> transcribeAll(const Pcm& pcm, Recogniser& first, Recogniser* second,
                                             const std::vector<Span>& chunks) {
  std::vector<std::vector<Word>> heard(chunks.size());
  const std::size_t split = second ? halfway(chunks) : chunks.size();
  const auto transcribe = [&](Recogniser& recogniser, std::size_t from, std::size_t to) {
    for (std::size_t c = from; c < to; ++c)
      heard[c] = recogniser.transcribe(samplesOf(pcm, chunks[c]), chunks[c].start);
  };
  std::exception_ptr failure;
  std::thread helper([&] {
    try {
      if (second) transcribe(*second, split, chunks.size());
    } catch (...) {
      failure = std::current_exception();
    }
  });
  try {
    transcribe(first, 0, split);
  } catch (...) {
    helper.join();
    throw;
  }
  helper.join();
  if (failure) std::rethrow_exception(failure);
  return heard;
}

std::vector<Word> joined(const std::vector<std::vector<Word>>& perChunk) {
  std::vector<Word> words;
  for (const std::vector<Word>& chunkWords : perChunk)
    words.insert(words.end(), chunkWords.begin(), chunkWords.end());
  return words;
}

// Lays the script on the chunks: free recognition (`heard`, per chunk) says roughly which
// words fall in which chunk, then each chunk is aligned to its share of the script. A take
// that does not read the script keeps what was heard.
std::vector<Word> toScript(const Pcm& pcm, Recogniser& recogniser, const std::vector<Span>& chunks,
                           const std::vector<std::vector<Word>>& heard,
                           std::vector<std::string> script, bool& followed) {
  std::erase_if(script, [&](const std::string& word) { return !recogniser.knows(word); });
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
  followed = readsScript(joined(heard), script);
  if (!followed) return joined(heard);
  const std::vector<int> chunkOf = chunkOfEachWord(script, heardWords, heardChunk, lengths);
  std::vector<Word> words;
  std::size_t begin = 0;
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    const auto nominal =
        std::size_t(std::upper_bound(chunkOf.begin(), chunkOf.end(), int(c)) - chunkOf.begin());
    std::vector<Word> placed = alignShare(pcm, recogniser, chunks[c], script, begin,
                                          std::max(nominal, begin), c + 1 == chunks.size());
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
  const std::vector<std::string> expected = scriptWords(script);
  transcript.words =
      expected.empty() ? joined(heard)
                       : toScript(pcm, *recogniser, chunks, heard, expected, transcript.fromScript);
  if (transcript.words.empty())
    throw CutError("The take holds no usable speech: nothing in it could be heard as words.");
  return transcript;
}

}  // namespace vorn::cut
