// SPDX-License-Identifier: GPL-3.0-or-later
// Words the recogniser's dictionary lacks, said in its phones by espeak-ng.
#include "cut/EspeakPhones.h"

#include <gtest/gtest.h>

#include <set>

namespace vorn::cut {
namespace {

using Phones = std::vector<std::string>;

TEST(EspeakPhonesTest, ipaBecomesTheRecognisersPhonesOrNothing) {
  EXPECT_EQ(phonesFromIpa("sˈaʊɚdˌoʊ"), (Phones{"S", "AW", "ER", "D", "OW"}));
  EXPECT_EQ(phonesFromIpa("dʒˈʌdʒ"), (Phones{"JH", "AH", "JH"}));
  // A glottal stop and a syllabic "n": "button" as the dictionary has it.
  EXPECT_EQ(phonesFromIpa("bˈʌʔn̩"), (Phones{"B", "AH", "T", "AH", "N"}));
  EXPECT_EQ(phonesFromIpa("θɹˈiː"), (Phones{"TH", "R", "IY"}));
  EXPECT_TRUE(phonesFromIpa("bˈʀot").empty()) << "a uvular r has no phone of its own here";
  EXPECT_TRUE(phonesFromIpa("").empty());
}

TEST(EspeakPhonesTest, espeakSaysScriptWordsInPhonesTheRecogniserHas) {
  EXPECT_EQ(espeakPhones("sourdough"), (Phones{"S", "AW", "ER", "D", "OW"}));
  const std::set<std::string> known = {
      "AA", "AE", "AH", "AO", "AW", "AY", "B",  "CH", "D", "DH", "EH", "ER", "EY",
      "F",  "G",  "HH", "IH", "IY", "JH", "K",  "L",  "M", "N",  "NG", "OW", "OY",
      "P",  "R",  "S",  "SH", "T",  "TH", "UH", "UW", "V", "W",  "Y",  "Z",  "ZH"};
  for (const char* word : {"semicolon", "refillable", "vorn", "tiktok", "vlogging", "2026",
                           "don't", "naïve", "xylophone", "rhythm"}) {
    const Phones phones = espeakPhones(word);
    EXPECT_FALSE(phones.empty()) << word;
    for (const std::string& phone : phones) EXPECT_TRUE(known.contains(phone)) << word << ": " << phone;
  }
  EXPECT_TRUE(espeakPhones("").empty());
}

}  // namespace
}  // namespace vorn::cut
