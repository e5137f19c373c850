// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/SpokenNumbers.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace vorn::cut {
namespace {

constexpr std::array<const char*, 20> kOnes = {
    "zero",    "one",     "two",     "three",     "four",     "five",     "six",
    "seven",   "eight",   "nine",    "ten",       "eleven",   "twelve",   "thirteen",
    "fourteen", "fifteen", "sixteen", "seventeen", "eighteen", "nineteen"};
constexpr std::array<const char*, 10> kTens = {
    "", "", "twenty", "thirty", "forty", "fifty", "sixty", "seventy", "eighty", "ninety"};

void below100(long n, std::vector<std::string>& out) {
  if (n < 20) {
    out.push_back(kOnes[std::size_t(n)]);
    return;
  }
  out.push_back(kTens[std::size_t(n / 10)]);
  if (n % 10) out.push_back(kOnes[std::size_t(n % 10)]);
}

void below1000(long n, std::vector<std::string>& out) {
  if (n >= 100) {
    out.push_back(kOnes[std::size_t(n / 100)]);
    out.push_back("hundred");
    n %= 100;
    if (n == 0) return;
  }
  below100(n, out);
}

std::vector<std::string> cardinal(long n) {
  if (n == 0) return {"zero"};
  std::vector<std::string> out;
  for (const auto& [size, name] :
       {std::pair{1'000'000L, "million"}, std::pair{1'000L, "thousand"}}) {
    if (n < size) continue;
    below1000(n / size, out);
    out.push_back(name);
    n %= size;
  }
  if (n > 0) below1000(n, out);
  return out;
}

// "1999" → nineteen ninety nine, "1905" → nineteen oh five, "1900" → nineteen hundred.
std::vector<std::string> year(long n) {
  std::vector<std::string> out;
  below100(n / 100, out);
  const long rest = n % 100;
  if (rest == 0) {
    out.push_back("hundred");
  } else {
    if (rest < 10) out.push_back("oh");
    below100(rest, out);
  }
  return out;
}

std::string ordinal(const std::string& word) {
  static const std::array<std::pair<const char*, const char*>, 7> irregular = {
      {{"one", "first"}, {"two", "second"}, {"three", "third"}, {"five", "fifth"},
       {"eight", "eighth"}, {"nine", "ninth"}, {"twelve", "twelfth"}}};
  for (const auto& [plain, nth] : irregular)
    if (word == plain) return nth;
  if (word.back() == 'y') return word.substr(0, word.size() - 1) + "ieth";
  return word + "th";
}

bool isOrdinalSuffix(const std::string& suffix) {
  return suffix == "st" || suffix == "nd" || suffix == "rd" || suffix == "th";
}

}  // namespace

std::optional<std::vector<std::string>> spokenNumber(const std::string& token) {
  constexpr std::string_view around = "\"'([{.,;:!?)]}";
  std::string_view core = token;
  while (!core.empty() && around.find(core.front()) != std::string_view::npos)
    core.remove_prefix(1);
  while (!core.empty() && around.find(core.back()) != std::string_view::npos)
    core.remove_suffix(1);
  const bool dollars = core.starts_with('$');
  if (dollars) core.remove_prefix(1);
  const bool percent = core.ends_with('%');
  if (percent) core.remove_suffix(1);

  // Digits, with commas only between groups of three.
  std::string digits;
  bool grouped = false;
  std::size_t at = 0;
  for (; at < core.size(); ++at) {
    if (std::isdigit(static_cast<unsigned char>(core[at]))) {
      digits += core[at];
    } else if (core[at] == ',' && !digits.empty() && at + 3 < core.size() &&
               std::all_of(core.begin() + long(at) + 1, core.begin() + long(at) + 4,
                           [](unsigned char c) { return std::isdigit(c); })) {
      grouped = true;
    } else {
      break;
    }
  }
  std::string suffix(core.substr(at));
  std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                 [](unsigned char c) { return char(std::tolower(c)); });
  if (digits.empty() || digits.size() > 9 || !(suffix.empty() || isOrdinalSuffix(suffix)) ||
      (!suffix.empty() && (dollars || percent)))
    return std::nullopt;

  const long n = std::stol(digits);
  const bool asYear = !grouped && !dollars && !percent && suffix.empty() && digits.size() == 4 &&
                      n >= 1100 && n < 2100 && !(n >= 2000 && n < 2010);
  std::vector<std::string> words = asYear ? year(n) : cardinal(n);
  if (!suffix.empty()) words.back() = ordinal(words.back());
  if (percent) words.push_back("percent");
  if (dollars) words.push_back(n == 1 ? "dollar" : "dollars");
  return words;
}

}  // namespace vorn::cut
