// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/EspeakPhones.h"

#include <espeak-ng/speak_lib.h>

#include <array>
#include <mutex>
#include <sstream>
#include <string_view>
#include <utility>

namespace vorn::cut {
namespace {

// espeak-ng's American English IPA to the recogniser's phones, longest first where one symbol
// begins another. A syllabic consonant (its mark follows it) is said with a weak vowel before.
constexpr std::array<std::pair<std::string_view, std::string_view>, 52> kIpa = {{
    {"aɪ", "AY"}, {"aʊ", "AW"}, {"eɪ", "EY"}, {"oʊ", "OW"}, {"ɔɪ", "OY"}, {"tʃ", "CH"},
    {"dʒ", "JH"}, {"n̩", "AH N"}, {"l̩", "AH L"}, {"m̩", "AH M"}, {"iː", "IY"}, {"uː", "UW"},
    {"ɑː", "AA"}, {"ɔː", "AO"}, {"ɜː", "ER"}, {"i", "IY"}, {"ɪ", "IH"}, {"ᵻ", "IH"},
    {"e", "EH"}, {"ɛ", "EH"}, {"æ", "AE"}, {"a", "AE"}, {"ɑ", "AA"}, {"ɒ", "AA"},
    {"ɔ", "AO"}, {"o", "OW"}, {"ʌ", "AH"}, {"ə", "AH"}, {"ɐ", "AH"}, {"ɚ", "ER"},
    {"ɜ", "ER"}, {"ʊ", "UH"}, {"u", "UW"}, {"θ", "TH"}, {"ð", "DH"}, {"ʃ", "SH"},
    {"ʒ", "ZH"}, {"ŋ", "NG"}, {"ɹ", "R"}, {"r", "R"}, {"j", "Y"}, {"w", "W"},
    {"h", "HH"}, {"ɾ", "T"}, {"ʔ", "T"}, {"l", "L"}, {"ɫ", "L"}, {"ɡ", "G"},
    {"g", "G"}, {"x", "HH"}, {"ʍ", "W"}, {"ɬ", "L"},
}};
// Letters that are their own phone.
constexpr std::string_view kSameLetters = "bdfkmnpstvz";
// Stress, length, ties and breaks carry no phone.
constexpr std::array<std::string_view, 7> kSilent = {"ˈ", "ˌ", "ː", "‿", "͡", "-", " "};

bool take(std::string_view& rest, std::string_view symbol) {
  if (!rest.starts_with(symbol)) return false;
  rest.remove_prefix(symbol.size());
  return true;
}

}  // namespace

std::vector<std::string> phonesFromIpa(const std::string& ipa) {
  std::vector<std::string> phones;
  std::string_view rest = ipa;
  while (!rest.empty()) {
    bool known = false;
    for (const auto& [symbol, said] : kIpa)
      if (take(rest, symbol)) {
        std::istringstream each{std::string(said)};
        for (std::string phone; each >> phone;) phones.push_back(phone);
        known = true;
        break;
      }
    for (std::string_view silent : kSilent) known = known || take(rest, silent);
    if (!known && kSameLetters.find(rest.front()) != std::string_view::npos) {
      phones.push_back(std::string(1, char(rest.front() - 'a' + 'A')));
      rest.remove_prefix(1);
      known = true;
    }
    if (!known) return {};
  }
  return phones;
}

std::vector<std::string> espeakPhones(const std::string& word) {
  // espeak-ng keeps one voice and one buffer for the whole process.
  static std::mutex lock;
  const std::scoped_lock held(lock);
  static const bool ready =
      espeak_Initialize(AUDIO_OUTPUT_SYNCHRONOUS, 0, nullptr, espeakINITIALIZE_DONT_EXIT) > 0 &&
      espeak_SetVoiceByName("en-us") == EE_OK;
  if (!ready || word.empty()) return {};
  const void* text = word.c_str();
  const char* ipa = espeak_TextToPhonemes(&text, espeakCHARS_UTF8, espeakPHONEMES_IPA);
  return ipa ? phonesFromIpa(ipa) : std::vector<std::string>{};
}

}  // namespace vorn::cut
