// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace vorn::cut {

// How espeak-ng says an English word, in the recogniser's phone set ("sourdough": S AW ER D
// OW): for a script word its pronouncing dictionary lacks. Empty when espeak-ng cannot say it
// in phones that set holds.
std::vector<std::string> espeakPhones(const std::string& word);

// The same from espeak-ng's IPA ("sˈaʊɚdˌoʊ"); empty on a sound the phone set has no phone for.
std::vector<std::string> phonesFromIpa(const std::string& ipa);

}  // namespace vorn::cut
