// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/SphinxRecogniser.h"

#include "cut/ScriptWords.h"
#include "cut/TakeAudio.h"

extern "C" {
#include <pocketsphinx.h>
#include <sphinxbase/ckd_alloc.h>
#include <sphinxbase/err.h>
}

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <sstream>

#include <unistd.h>

namespace vorn::cut {
namespace {

constexpr double kFrameSeconds = 0.01;  // the model's 100 frames per second
const char* const kAlignSearch = "align";
constexpr double kAlignBeam = 1e-80;
constexpr double kAlignWordBeam = 1e-60;
// The rough language search keeps at most this many phone models alive a frame (the model's
// default is ten times as many).
const char* const kRoughSearch = "rough";
constexpr long kRoughModelsPerFrame = 3000;
// Any run of the language's phones: how well the best sounds there fit, whatever the words.
// Phones without their neighbours (`-allphone_ci`): a loop over every phone in context took
// ten seconds a second of sound.
const char* const kPhoneSearch = "phones";
// A first try fits its words about as well as their second saying does. In spoken takes of
// known truth, real first tries fit 0.2 to 1.5 better (per frame, in thousandths, against the
// best run of phones), and other talk the grammar could only lay a first try on ("so um" as
// "it was my") 2.7 to 4.2 worse.
constexpr double kFirstTryFitsWorseBy = 1.5;

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

// Phrases people say between the words of a script they read, each a word of the dictionary
// of its own ("filler_you_know"), so that an alignment tells it apart from the script.
const char* const kFillerPrefix = "filler_";
const std::vector<std::string>& saidFillers() {
  static const std::vector<std::string> fillers = {"you know", "i mean", "okay so", "sort of"};
  return fillers;
}

// A hesitation of one sound, drawn out to four phones: as long as one is said, longer than a
// script's weak "a" (read as one phone, it also won over a whole phrase where a reader said
// "you know"). Listened for only where the reader may pause: elsewhere it matches the breathy
// opening of a word ("her", "whole").
struct Hesitation {
  const char* said;
  const char* phones;
};
constexpr std::array<Hesitation, 2> kHesitations{{{"uh", "AH AH AH AH"}, {"um", "AH AH AH M"}}};

std::string fillerToken(std::string phrase) {
  std::replace(phrase.begin(), phrase.end(), ' ', '_');
  return kFillerPrefix + phrase;
}

// The phrase a filler token stands for; empty when it is none.
std::string phraseOf(const std::string& token) {
  for (const std::string& phrase : saidFillers())
    if (fillerToken(phrase) == token) return phrase;
  for (const Hesitation& hesitation : kHesitations)
    if (fillerToken(hesitation.said) == token) return hesitation.said;
  return {};
}

// The filler token's words, sharing its time evenly; not the script's, and never sure.
std::vector<Word> fillerWords(const Word& token) {
  const std::vector<std::string> parts = scriptWords(phraseOf(token.text));
  std::vector<Word> words;
  const double share = (token.end - token.start) / double(std::max<std::size_t>(parts.size(), 1));
  for (std::size_t i = 0; i < parts.size(); ++i) {
    Word word = token;
    word.text = parts[i];
    word.start = token.start + double(i) * share;
    word.end = word.start + share;
    word.confidence = 0;
    word.offScript = true;
    words.push_back(word);
  }
  return words;
}

// The model's dictionary with each filler and hesitation a word of its own, said as its words
// are, and the `learned` words, written to a file of its own for the decoder to read at start:
// words added to a running decoder (`ps_add_word`) past the first few leave its language model
// reading freed memory. The caller removes the file once the decoder is made.
std::filesystem::path dictionaryFile(const std::string& modelDictionary,
                                            const Pronunciations& learned) {
  static std::atomic<int> made{0};
  std::ifstream in(modelDictionary);
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() /
      ("vorn-dictionary-" + std::to_string(::getpid()) + "-" + std::to_string(made++) + ".dict");
  std::ofstream out(path);
  // Only the fillers' own words are looked up: the dictionary holds some 135,000.
  std::map<std::string, std::string> said;
  for (const std::string& phrase : saidFillers())
    for (const std::string& part : scriptWords(phrase)) said.emplace(part, std::string());
  for (std::string line; std::getline(in, line);) {
    out << line << '\n';
    const std::size_t space = line.find(' ');
    if (space == std::string::npos) continue;
    const auto wanted = said.find(line.substr(0, space));
    if (wanted != said.end() && wanted->second.empty()) wanted->second = line.substr(space + 1);
  }
  for (const std::string& phrase : saidFillers()) {
    std::string phones;
    bool known = true;
    for (const std::string& part : scriptWords(phrase)) {
      const std::string& found = said[part];
      known = known && !found.empty();
      if (known) phones += (phones.empty() ? "" : " ") + found;
    }
    if (known) out << fillerToken(phrase) << ' ' << phones << '\n';
  }
  for (const Hesitation& hesitation : kHesitations)
    out << fillerToken(hesitation.said) << ' ' << hesitation.phones << '\n';
  for (const auto& [word, phones] : learned) {
    out << word;
    for (const std::string& phone : phones) out << ' ' << phone;
    out << '\n';
  }
  if (!out.flush()) throw CutError("The speech model's dictionary couldn't be written.");
  return path;
}

// The words in order, after an optional first try at the opening ones where asked, with a
// filler allowed before each where asked, and a hesitation too where the reader may pause
// (before the words `pauses` holds):
// "[ i sent [ the [ whole ] ] ] [<hesitation>] [<filler>] i [<filler>] sent … [<hesitation>] [<filler>] a …".
std::string grammarFor(const std::vector<std::string>& words, bool fillers,
                       const std::vector<std::size_t>& pauses, bool firstTry = true) {
  std::string grammar = "#JSGF V1.0;\ngrammar align;\n";
  if (fillers) {
    grammar += "<filler> =";
    for (std::size_t i = 0; i < saidFillers().size(); ++i)
      grammar += (i ? " | " : " ") + fillerToken(saidFillers()[i]);
    grammar += ";\n<hesitation> =";
    for (std::size_t i = 0; i < kHesitations.size(); ++i)
      grammar += (i ? " | " : " ") + fillerToken(kHesitations[i].said);
    grammar += ";\n";
  }
  grammar += "public <utterance> =";
  const std::size_t tried = firstTry ? std::min(kLongestFirstTry, words.size() - 1) : 0;
  if (tried >= 2) {
    grammar += " [ " + words[0] + " " + words[1];
    for (std::size_t i = 2; i < tried; ++i) grammar += " [ " + words[i];
    for (std::size_t i = 2; i < tried; ++i) grammar += " ]";
    grammar += " ]";
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool pause = std::find(pauses.begin(), pauses.end(), i) != pauses.end();
    grammar += (!fillers ? " " : pause ? " [ <hesitation> ] [ <filler> ] " : " [ <filler> ] ") + words[i];
  }
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

// The recogniser's posteriors for words heard freely run high: in spoken takes of known truth,
// about half of those between 0.6 and 0.9 were wrong, a quarter from 0.9 up. A word is sure
// enough to publish from 0.9, and as sure below as its share of that.
constexpr double kPublishablePosterior = 0.9;

double confidenceOf(double posterior) {
  if (posterior < kPublishablePosterior) return kSureConfidence * posterior / kPublishablePosterior;
  return kSureConfidence +
         (1 - kSureConfidence) * (posterior - kPublishablePosterior) / (1 - kPublishablePosterior);
}

}  // namespace

struct SphinxRecogniser::Decoder {
  cmd_ln_t* config = nullptr;
  ps_decoder_t* ps = nullptr;
  std::string languageSearch;
  // The model's own beams: the language searches', and alignments' first phone beam.
  double beam = 0, wordBeam = 0, phoneBeam = 0;
  bool roughSearchMade = false;
  std::string phoneModel;  // the phones' language model, loaded when a first try is checked
  bool phoneSearchMade = false;

  ~Decoder() {
    if (ps) ps_free(ps);
    if (config) cmd_ln_free_r(config);
  }

  // The language search again, on the same model, made quicker. A search reads the settings
  // when it is made: the change is for its making only.
  void makeRoughSearch() {
    cmd_ln_t* config = ps_get_config(ps);
    const long models = cmd_ln_int_r(config, "-maxhmmpf");
    cmd_ln_set_int_r(config, "-maxhmmpf", kRoughModelsPerFrame);
    roughSearchMade = ps_set_lm(ps, kRoughSearch, ps_get_lm(ps, languageSearch.c_str())) >= 0;
    cmd_ln_set_int_r(config, "-maxhmmpf", models);
  }

  // The words of the best path through `grammar` searched with `phones` as the phone beam;
  // nothing when no path reaches its end.
  std::vector<Word> alignTo(const std::string& grammar, double phones, std::span<const std::int16_t> chunk,
                            double offset, double* score) {
    cmd_ln_set_float_r(ps_get_config(ps), "-pbeam", phones);
    if (ps_set_jsgf_string(ps, kAlignSearch, grammar.c_str()) < 0 || ps_set_search(ps, kAlignSearch) < 0)
      return {};
    return decode(chunk, offset, score);
  }

  // Most takes hold no first try: the phone search is made for the first one only, with the
  // model's own beams (an alignment's wide ones make it slow and large).
  bool makePhoneSearch() {
    if (phoneSearchMade) return true;
    setBeams(beam, wordBeam, phoneBeam);
    phoneSearchMade = ps_set_allphone_file(ps, kPhoneSearch, phoneModel.c_str()) >= 0;
    setBeams(kAlignBeam, kAlignWordBeam, phoneBeam);
    return phoneSearchMade;
  }

  // Searches made from now on use these beams.
  void setBeams(double paths, double words, double phones) {
    cmd_ln_t* config = ps_get_config(ps);
    cmd_ln_set_float_r(config, "-beam", paths);
    cmd_ln_set_float_r(config, "-wbeam", words);
    cmd_ln_set_float_r(config, "-pbeam", phones);
  }

  // How well `words` fit the stretch of `chunk` they were laid on, per frame, against the best
  // run of phones there; nothing when no path holds them.
  std::optional<double> fitOf(std::span<const Word> words, std::span<const std::int16_t> chunk,
                              double offset) {
    const double from = std::max(words.front().start, offset);
    const auto first = std::min(std::size_t((from - offset) * Pcm::kRate), chunk.size());
    const auto last = std::min(std::size_t((words.back().end - offset) * Pcm::kRate), chunk.size());
    if (last <= first) return std::nullopt;
    const std::span<const std::int16_t> stretch = chunk.subspan(first, last - first);
    std::vector<std::string> texts;
    for (const Word& word : words) texts.push_back(word.text);
    double said = 0, phones = 0;
    if (alignTo(grammarFor(texts, false, {}, false), kAlignBeam, stretch, from, &said).empty() ||
        !makePhoneSearch() || ps_set_search(ps, kPhoneSearch) < 0 ||
        decode(stretch, from, &phones).empty())
      return std::nullopt;
    // Scores come scaled down from the model's: per frame, in thousandths.
    return 1000 * (said - phones) / (double(stretch.size()) / Pcm::kRate / kFrameSeconds);
  }

  // Whether the first `tried` words are a first try at the `tried` after them: not other talk
  // the grammar could only explain as one.
  bool saidTwice(std::span<const Word> words, std::size_t tried,
                 std::span<const std::int16_t> chunk, double offset) {
    const std::optional<double> once = fitOf(words.first(tried), chunk, offset);
    const std::optional<double> again = fitOf(words.subspan(tried, tried), chunk, offset);
    return !once || !again || *once > *again - kFirstTryFitsWorseBy;
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

std::unique_ptr<SphinxRecogniser::Decoder> SphinxRecogniser::load(const Pronunciations& learned) {
  auto decoder = std::make_unique<Decoder>();
  const std::string model = VORN_SPHINX_MODEL_DIR "/en-us";
  if (!std::filesystem::exists(model + "/en-us/mdef"))
    throw CutError("The speech model isn't installed (pocketsphinx-en-us).");
  err_set_logfp(nullptr);
  // Silence stays in the features, so a word's frames are its time in the sound. The flat
  // second pass costs a third of listening and, in spoken takes of known truth, heard no
  // better.
  const std::filesystem::path dictionary = dictionaryFile(model + "/cmudict-en-us.dict", learned);
  decoder->config =
      cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", (model + "/en-us").c_str(), "-lm",
                  (model + "/en-us.lm.bin").c_str(), "-dict", dictionary.c_str(), "-bestpath",
                  "yes", "-remove_silence", "no", "-fwdflat", "no", "-allphone_ci", "yes", nullptr);
  if (decoder->config) decoder->ps = ps_init(decoder->config);
  std::error_code ignored;
  std::filesystem::remove(dictionary, ignored);
  if (!decoder->ps) throw CutError("The speech model couldn't be loaded.");
  decoder->languageSearch = ps_get_search(decoder->ps);
  decoder->makeRoughSearch();
  decoder->phoneModel = model + "/en-us-phone.lm.bin";
  // The language-model search keeps the beams it was made with; alignment searches, made
  // later, get wider ones: a known text may be pruned away on a single odd-sounding word,
  // and a grammar of one sentence is cheap to search widely.
  cmd_ln_t* config = ps_get_config(decoder->ps);
  decoder->beam = cmd_ln_float_r(config, "-beam");
  decoder->wordBeam = cmd_ln_float_r(config, "-wbeam");
  decoder->phoneBeam = cmd_ln_float_r(config, "-pbeam");
  decoder->setBeams(kAlignBeam, kAlignWordBeam, decoder->phoneBeam);
  return decoder;
}

SphinxRecogniser::SphinxRecogniser() : decoder_(load({})) {}

void SphinxRecogniser::learn(const Pronunciations& words) {
  learned_.insert(words.begin(), words.end());
  decoder_ = load(learned_);
}

SphinxRecogniser::~SphinxRecogniser() = default;

std::vector<Word> SphinxRecogniser::transcribe(std::span<const std::int16_t> chunk, double offset) {
  const bool rough = roughly_ && decoder_->roughSearchMade;
  ps_set_search(decoder_->ps, rough ? kRoughSearch : decoder_->languageSearch.c_str());
  std::vector<Word> words = decoder_->decode(chunk, offset);
  for (Word& word : words) word.confidence = confidenceOf(word.confidence);
  return words;
}

Alignment SphinxRecogniser::align(std::span<const std::int16_t> chunk, double offset,
                                  const std::vector<std::string>& expected,
                                  const std::vector<std::size_t>& pauses) {
  if (expected.empty()) return {};
  const std::string grammar = grammarFor(expected, fillers_, pauses);
  Alignment alignment;
  std::vector<Word> heard = decoder_->alignTo(grammar, decoder_->phoneBeam, chunk, offset, &alignment.fit);
  // One odd-sounding stretch can prune every path to the grammar's end at the phone beam:
  // then the search goes again with it as wide as the others.
  if (heard.empty()) heard = decoder_->alignTo(grammar, kAlignBeam, chunk, offset, &alignment.fit);
  std::vector<Word> words, fillers;
  for (const Word& word : heard) {
    if (!word.text.starts_with(kFillerPrefix)) {
      words.push_back(word);
      continue;
    }
    const std::vector<Word> said = fillerWords(word);
    fillers.insert(fillers.end(), said.begin(), said.end());
  }
  if (words.size() < expected.size()) return {};
  std::size_t tried = words.size() - expected.size();
  for (std::size_t i = 0; i < words.size(); ++i)
    if (words[i].text != expected[i < tried ? i : i - tried]) return {};
  if (tried > 0 && !decoder_->saidTwice(words, tried, chunk, offset)) {
    words.erase(words.begin(), words.begin() + std::ptrdiff_t(tried));
    tried = 0;
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool firstTry = i < tried;
    words[i].confidence = firstTry ? 0 : 1;
    words[i].offScript = firstTry;
  }
  words.insert(words.end(), fillers.begin(), fillers.end());
  std::stable_sort(words.begin(), words.end(), [](const Word& a, const Word& b) { return a.start < b.start; });
  alignment.words = std::move(words);
  return alignment;
}

std::vector<std::string> SphinxRecogniser::pronunciation(const std::string& word) {
  char* phones = ps_lookup_word(decoder_->ps, word.c_str());
  std::vector<std::string> said;
  if (!phones) return said;
  std::istringstream each(phones);
  for (std::string phone; each >> phone;) said.push_back(phone);
  ckd_free(phones);
  return said;
}

}  // namespace vorn::cut
