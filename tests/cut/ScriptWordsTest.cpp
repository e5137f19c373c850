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

TEST(ScriptWordsTest, pausesFollowPunctuationBetweenSayableWords) {
  EXPECT_EQ(scriptBreaks("Why does it work? Because, \"they said.\" -- Done"),
            (std::vector<std::size_t>{4, 5, 7}));
  EXPECT_TRUE(scriptBreaks("no pause here").empty());
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
