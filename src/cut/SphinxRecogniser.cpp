// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/SphinxRecogniser.h"

extern "C" {
#include <pocketsphinx.h>
#include <sphinxbase/ckd_alloc.h>
#include <sphinxbase/err.h>
}

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <random>

namespace vorn::cut {
namespace {

constexpr double kFrameSeconds = 0.01;  // the model's 100 frames per second
const char* const kAlignSearch = "align";
constexpr double kAlignBeam = 1e-80;
constexpr double kAlignWordBeam = 1e-60;

// "<s>", "<sil>", "[NOISE]" and the like mark no spoken word, nor does "(NULL)", the step a
// grammar takes past an optional part.
bool isFiller(const char* word) { return word[0] == '<' || word[0] == '[' || word[0] == '('; }

// "read(2)" is the second way of saying "read".
std::string plainWord(const char* word) {
  std::string text = word;
  const std::size_t paren = text.find('(');
  return paren == std::string::npos ? text : text.substr(0, paren);
}

// A false start is two to this many of the opening words, said again at once.
constexpr std::size_t kLongestFirstTry = 5;

// The words in order, after an optional first try at the opening ones:
// "[ i sent [ the [ whole ] ] ] i sent the whole report".
std::string grammarFor(const std::vector<std::string>& words) {
  std::string grammar = "#JSGF V1.0;\ngrammar align;\npublic <utterance> =";
  const std::size_t tried = std::min(kLongestFirstTry, words.size() - 1);
  if (tried >= 2) {
    grammar += " [ " + words[0] + " " + words[1];
    for (std::size_t i = 2; i < tried; ++i) grammar += " [ " + words[i];
    for (std::size_t i = 2; i < tried; ++i) grammar += " ]";
    grammar += " ]";
  }
  for (const std::string& word : words) grammar += " " + word;
  return grammar + ";\n";
}

// Exact zeros (a noise gate, a synthetic voice) have no log energy: a little dither keeps the
// features finite, or a known sentence may never reach its last word. The library's own
// dither draws from one generator for every decoder, so two listening threads heard each
// run a little differently; this one is seeded by the chunk's place in the take.
std::vector<std::int16_t> dithered(std::span<const std::int16_t> chunk, double offset) {
  std::minstd_rand noise(std::uint_fast32_t(std::llround(offset * 1000)) + 1);
  std::vector<std::int16_t> samples(chunk.begin(), chunk.end());
  for (std::int16_t& sample : samples)
    if (noise() % 4 == 0 && sample < INT16_MAX) ++sample;
  return samples;
}

}  // namespace

struct SphinxRecogniser::Decoder {
  cmd_ln_t* config = nullptr;
  ps_decoder_t* ps = nullptr;
  std::string languageSearch;

  ~Decoder() {
    if (ps) ps_free(ps);
    if (config) cmd_ln_free_r(config);
  }

  // The words of the best path; `score` its log likelihood.
  std::vector<Word> decode(std::span<const std::int16_t> chunk, double offset,
                           double* score = nullptr) {
    std::vector<Word> words;
    if (ps_start_utt(ps) < 0) return words;
    const std::vector<std::int16_t> samples = dithered(chunk, offset);
    ps_process_raw(ps, samples.data(), samples.size(), FALSE, TRUE);
    ps_end_utt(ps);
    std::int32_t best = 0;
    if (!ps_get_hyp(ps, &best)) return words;
    logmath_t* math = ps_get_logmath(ps);
    if (score) *score = logmath_log_to_ln(math, best);
    for (ps_seg_t* seg = ps_seg_iter(ps); seg; seg = ps_seg_next(seg)) {
      const char* text = ps_seg_word(seg);
      if (isFiller(text)) continue;
      int first = 0, last = 0;
      ps_seg_frames(seg, &first, &last);
      const double posterior = logmath_exp(math, ps_seg_prob(seg, nullptr, nullptr, nullptr));
      words.push_back({plainWord(text), offset + first * kFrameSeconds,
                       offset + (last + 1) * kFrameSeconds, std::clamp(posterior, 0.0, 1.0)});
    }
    return words;
  }
};

SphinxRecogniser::SphinxRecogniser() : decoder_(std::make_unique<Decoder>()) {
  const std::string model = VORN_SPHINX_MODEL_DIR "/en-us";
  if (!std::filesystem::exists(model + "/en-us/mdef"))
    throw CutError("The speech model isn't installed (pocketsphinx-en-us).");
  err_set_logfp(nullptr);
  // Silence stays in the features, so a word's frames are its time in the sound.
  decoder_->config =
      cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", (model + "/en-us").c_str(), "-lm",
                  (model + "/en-us.lm.bin").c_str(), "-dict",
                  (model + "/cmudict-en-us.dict").c_str(), "-bestpath", "yes",
                  "-remove_silence", "no", nullptr);
  if (decoder_->config) decoder_->ps = ps_init(decoder_->config);
  if (!decoder_->ps) throw CutError("The speech model couldn't be loaded.");
  decoder_->languageSearch = ps_get_search(decoder_->ps);
  // The language-model search keeps the beams it was made with; alignment searches, made
  // later, get wider ones: a known text may be pruned away on a single odd-sounding word,
  // and a grammar of one sentence is cheap to search widely.
  cmd_ln_set_float_r(ps_get_config(decoder_->ps), "-beam", kAlignBeam);
  cmd_ln_set_float_r(ps_get_config(decoder_->ps), "-wbeam", kAlignWordBeam);
}

SphinxRecogniser::~SphinxRecogniser() = default;

std::vector<Word> SphinxRecogniser::transcribe(std::span<const std::int16_t> chunk, double offset) {
  ps_set_search(decoder_->ps, decoder_->languageSearch.c_str());
  return decoder_->decode(chunk, offset);
}

Alignment SphinxRecogniser::align(std::span<const std::int16_t> chunk, double offset,
                                  const std::vector<std::string>& expected) {
  if (expected.empty()) return {};
  if (ps_set_jsgf_string(decoder_->ps, kAlignSearch, grammarFor(expected).c_str()) < 0 ||
      ps_set_search(decoder_->ps, kAlignSearch) < 0)
    return {};
  Alignment alignment;
  std::vector<Word>& words = alignment.words;
  words = decoder_->decode(chunk, offset, &alignment.fit);
  if (words.size() < expected.size()) return {};
  const std::size_t tried = words.size() - expected.size();
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool firstTry = i < tried;
    if (words[i].text != expected[firstTry ? i : i - tried]) return {};
    words[i].confidence = firstTry ? 0 : 1;
    words[i].offScript = firstTry;
  }
  return alignment;
}

bool SphinxRecogniser::knows(const std::string& word) {
  char* pronunciation = ps_lookup_word(decoder_->ps, word.c_str());
  const bool known = pronunciation != nullptr;
  ckd_free(pronunciation);
  return known;
}

}  // namespace vorn::cut
