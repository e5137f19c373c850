// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vorn::cut {

// How a reader says a number written in a script, from a token of it with its punctuation:
// "3," → three, "1,500" → one thousand five hundred, "21st" → twenty first, "25%" → twenty
// five percent, "$5" → five dollars, "1999" → nineteen ninety nine (four digits from 1100 to
// 2099 read as a year). None when the token is not a whole number of at most nine digits.
std::optional<std::vector<std::string>> spokenNumber(const std::string& token);

}  // namespace vorn::cut
