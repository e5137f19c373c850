// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace vorn::cut {

// The words of a written script as a recogniser spells them: lower case, without
// punctuation, apostrophes inside words kept ("Don't stop." → "don't", "stop"), numbers as
// they are said ("3 tips" → "three", "tips").
std::vector<std::string> scriptWords(const std::string& script);

// Where a reader of the script likely pauses: for every word followed by . ! ? , ; or :, the
// number of words up to and including it (so a place between words of `scriptWords`).
std::vector<std::size_t> scriptBreaks(const std::string& script);

// Where the script's sentences end (after . ! or ?), counted as `scriptBreaks` counts.
std::vector<std::size_t> scriptSentenceEnds(const std::string& script);

// Which chunk each script word was spoken in. `heard` holds the chunk index of every freely
// recognised word and `heardWords` the words themselves, in take order; the script is laid
// along them by edit distance, so recognition errors move no word out of order. Words the
// recogniser heard nothing like go with their neighbours; with nothing heard at all the
// script is spread over the chunks by their length.
std::vector<int> chunkOfEachWord(const std::vector<std::string>& script,
                                 const std::vector<std::string>& heardWords,
                                 const std::vector<int>& heard,
                                 const std::vector<double>& chunkLengths);

}  // namespace vorn::cut
