// SPDX-License-Identifier: GPL-3.0-or-later
// A written script as a recogniser spells it, and which chunk each of its words falls in.
#include "cut/ScriptWords.h"

#include <gtest/gtest.h>

namespace vorn::cut {
namespace {

using Words = std::vector<std::string>;

TEST(ScriptWordsTest, punctuationGoesAndInnerApostrophesStay) {
  EXPECT_EQ(scriptWords("Don't stop -- it's 'quoted', OK?\nNew line."),
            (Words{"don't", "stop", "it's", "quoted", "ok", "new", "line"}));
  EXPECT_TRUE(scriptWords("  ...  ").empty());
}

TEST(ScriptWordsTest, numbersAreReadAsTheyAreSaid) {
  EXPECT_EQ(scriptWords("My 3 tips: 25% off, $1, the 21st of 1,500 in 1999, 2005 and 1905."),
            (Words{"my", "three", "tips", "twenty", "five", "percent", "off", "one", "dollar",
                   "the", "twenty", "first", "of", "one", "thousand", "five", "hundred", "in",
                   "nineteen", "ninety", "nine", "two", "thousand", "five", "and", "nineteen",
                   "oh", "five"}));
  EXPECT_EQ(scriptWords("0 12th 100 2,000,017 1900 40th 3rd"),
            (Words{"zero", "twelfth", "one", "hundred", "two", "million", "seventeen",
                   "nineteen", "hundred", "fortieth", "third"}));
  EXPECT_EQ(scriptWords("mp4 1,50 1234567890"), (Words{"mp4", "150", "1234567890"}))
      << "not whole numbers, or too long: as written";
}

TEST(ScriptWordsTest, pausesFollowPunctuationBetweenSayableWords) {
  EXPECT_EQ(scriptBreaks("Why does it work? Because, \"they said.\" -- Done"),
            (std::vector<std::size_t>{4, 5, 7}));
  EXPECT_EQ(scriptBreaks("Top 25 tips, now."), (std::vector<std::size_t>{4, 5}))
      << "a number counts the words it is read as";
  EXPECT_TRUE(scriptBreaks("no pause here").empty());
  EXPECT_EQ(scriptSentenceEnds("Why does it work? Because, \"they said.\" -- Done"),
            (std::vector<std::size_t>{4, 7}))
      << "a comma is a pause, not a sentence's end";
}

TEST(ScriptWordsTest, heardWordsPlaceTheScriptInOrderDespiteErrors) {
  const Words script = {"good", "light", "matters", "why", "does", "it", "work"};
  const Words heard = {"could", "light", "matter", "why", "it", "work"};
  const std::vector<int> chunkOfHeard = {0, 0, 0, 1, 1, 1};
  EXPECT_EQ(chunkOfEachWord(script, heard, chunkOfHeard, {2, 2}),
            (std::vector<int>{0, 0, 0, 1, 1, 1, 1}));
}

TEST(ScriptWordsTest, withNothingHeardTheScriptIsSpreadByChunkLength) {
  const Words script = {"a", "b", "c", "d"};
  EXPECT_EQ(chunkOfEachWord(script, {}, {}, {1, 3}), (std::vector<int>{0, 1, 1, 1}));
}

}  // namespace
}  // namespace vorn::cut
