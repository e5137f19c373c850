#include "cut/Listen.h"

#include "cut/Pauses.h"
#include "cut/ScriptWords.h"

#include <algorithm>

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
    placed.push_back({words[i], chunk.start + i * share, chunk.start + (i + 1) * share,
                      kGuessedConfidence});
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

std::vector<Word> freely(const Pcm& pcm, Recogniser& recogniser, const std::vector<Span>& chunks) {
  std::vector<Word> words;
  for (const Span& chunk : chunks) {
    std::vector<Word> heard = recogniser.transcribe(samplesOf(pcm, chunk), chunk.start);
    words.insert(words.end(), heard.begin(), heard.end());
  }
  return words;
}

// Lays the script on the chunks: free recognition says roughly which words fall in which
// chunk, then each chunk is aligned to its share of the script. A take that does not read
// the script keeps what was heard.
std::vector<Word> toScript(const Pcm& pcm, Recogniser& recogniser, const std::vector<Span>& chunks,
                           std::vector<std::string> script, bool& followed) {
  std::erase_if(script, [&](const std::string& word) { return !recogniser.knows(word); });
  std::vector<Word> heard;
  std::vector<std::string> heardWords;
  std::vector<int> heardChunk;
  std::vector<double> lengths;
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    lengths.push_back(chunks[c].length());
    for (const Word& word : recogniser.transcribe(samplesOf(pcm, chunks[c]), chunks[c].start)) {
      heard.push_back(word);
      heardWords.push_back(word.text);
      heardChunk.push_back(int(c));
    }
  }
  followed = readsScript(heard, script);
  if (!followed) return heard;
  const std::vector<int> chunkOf = chunkOfEachWord(script, heardWords, heardChunk, lengths);
  std::vector<Word> words;
  std::size_t begin = 0;
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    const auto nominal = std::size_t(std::upper_bound(chunkOf.begin(), chunkOf.end(), int(c)) -
                                     chunkOf.begin());
    std::vector<Word> placed = alignShare(pcm, recogniser, chunks[c], script, begin,
                                          std::max(nominal, begin), c + 1 == chunks.size());
    begin += placed.size();
    words.insert(words.end(), placed.begin(), placed.end());
  }
  return words;
}

}  // namespace

Transcript listen(const Pcm& pcm, Recogniser& recogniser, const std::string& script) {
  Transcript transcript;
  transcript.duration = pcm.duration();
  const std::vector<Span> chunks = chunksForListening(findSpeech(pcm), transcript.duration);
  const std::vector<std::string> expected = scriptWords(script);
  transcript.words = expected.empty()
                         ? freely(pcm, recogniser, chunks)
                         : toScript(pcm, recogniser, chunks, expected, transcript.fromScript);
  if (transcript.words.empty())
    throw CutError("The take holds no usable speech: nothing in it could be heard as words.");
  return transcript;
}

}  // namespace vorn::cut
