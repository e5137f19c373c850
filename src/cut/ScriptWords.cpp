// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/ScriptWords.h"

#include "cut/SpokenNumbers.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace vorn::cut {
namespace {

bool isWordByte(unsigned char c) { return std::isalnum(c) || c >= 0x80; }

std::string cleaned(const std::string& token) {
  std::string word;
  for (std::size_t i = 0; i < token.size(); ++i) {
    const unsigned char c = token[i];
    const bool innerApostrophe = c == '\'' && i > 0 && i + 1 < token.size() &&
                                 isWordByte(token[i - 1]) && isWordByte(token[i + 1]);
    if (isWordByte(c) || innerApostrophe) word += char(std::tolower(c));
  }
  return word;
}

// Edit-distance table of script (rows) against heard words (columns).
std::vector<std::vector<int>> costs(const std::vector<std::string>& script,
                                    const std::vector<std::string>& heard) {
  std::vector<std::vector<int>> cost(script.size() + 1, std::vector<int>(heard.size() + 1));
  for (std::size_t i = 0; i <= script.size(); ++i) cost[i][0] = int(i);
  for (std::size_t j = 0; j <= heard.size(); ++j) cost[0][j] = int(j);
  for (std::size_t i = 1; i <= script.size(); ++i)
    for (std::size_t j = 1; j <= heard.size(); ++j)
      cost[i][j] = std::min({cost[i - 1][j - 1] + (script[i - 1] == heard[j - 1] ? 0 : 1),
                             cost[i - 1][j] + 1, cost[i][j - 1] + 1});
  return cost;
}

std::vector<int> spreadByLength(std::size_t count, const std::vector<double>& lengths) {
  const double total = std::accumulate(lengths.begin(), lengths.end(), 0.0);
  std::vector<int> chunks(count, 0);
  double before = 0;
  std::size_t chunk = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double place = total * (i + 0.5) / count;
    while (chunk + 1 < lengths.size() && place > before + lengths[chunk])
      before += lengths[chunk++];
    chunks[i] = int(chunk);
  }
  return chunks;
}

// The script split at white space.
std::vector<std::string> tokens(const std::string& script) {
  std::vector<std::string> list;
  std::size_t at = 0;
  while (at < script.size()) {
    const std::size_t end = std::min(script.find_first_of(" \t\r\n", at), script.size());
    if (end > at) list.push_back(script.substr(at, end - at));
    at = end + 1;
  }
  return list;
}

// The words a token of the script is read as: a number as it is said, else the token cleaned.
std::vector<std::string> wordsOf(const std::string& token) {
  if (auto spoken = spokenNumber(token)) return std::move(*spoken);
  std::string word = cleaned(token);
  if (word.empty()) return {};
  return {std::move(word)};
}

}  // namespace

std::vector<std::string> scriptWords(const std::string& script) {
  std::vector<std::string> words;
  for (const std::string& token : tokens(script))
    for (std::string& word : wordsOf(token)) words.push_back(std::move(word));
  return words;
}

namespace {

// For every word followed by one of `marks`, the number of words up to and including it.
std::vector<std::size_t> placesAfter(const std::string& script, const std::string& marks) {
  std::vector<std::size_t> breaks;
  std::size_t count = 0;
  for (const std::string& token : tokens(script)) {
    const std::size_t words = wordsOf(token).size();
    if (words == 0) continue;
    count += words;
    const std::size_t last = token.find_last_not_of("\"')]\u00BB");
    if (last != std::string::npos && marks.find(token[last]) != std::string::npos)
      breaks.push_back(count);
  }
  return breaks;
}

}  // namespace

std::vector<std::size_t> scriptBreaks(const std::string& script) {
  return placesAfter(script, ".!?,;:");
}

std::vector<std::size_t> scriptSentenceEnds(const std::string& script) {
  return placesAfter(script, ".!?");
}

std::vector<int> chunkOfEachWord(const std::vector<std::string>& script,
                                 const std::vector<std::string>& heardWords,
                                 const std::vector<int>& heard,
                                 const std::vector<double>& chunkLengths) {
  if (heardWords.empty() || chunkLengths.empty())
    return spreadByLength(script.size(), chunkLengths);
  const auto cost = costs(script, heardWords);
  std::vector<int> chunk(script.size(), -1);
  // Walk back through the table: a diagonal step pairs a script word with a heard one.
  std::size_t i = script.size(), j = heardWords.size();
  while (i > 0 && j > 0) {
    const int diagonal = cost[i - 1][j - 1] + (script[i - 1] == heardWords[j - 1] ? 0 : 1);
    if (cost[i][j] == diagonal) {
      chunk[--i] = heard[--j];
    } else if (cost[i][j] == cost[i - 1][j] + 1) {
      --i;
    } else {
      --j;
    }
  }
  int previous = -1;
  for (int& c : chunk) previous = c = c >= 0 ? c : previous;
  const auto first = std::find_if(chunk.begin(), chunk.end(), [](int c) { return c >= 0; });
  const int opening = first == chunk.end() ? 0 : *first;
  for (int& c : chunk) c = c >= 0 ? c : opening;
  return chunk;
}

}  // namespace vorn::cut
