// SPDX-License-Identifier: GPL-3.0-or-later
// How sure a script word laid on the take is of its place.
#include "cut/WordConfidence.h"

#include <gtest/gtest.h>

namespace vorn::cut {
namespace {

// Speech at -20 dB from 1 s to 3 s over a floor at -60 dB, for 5 s.
SoundLevels speechFromOneToThree() {
  SoundLevels levels;
  for (int i = 0; i < 500; ++i) {
    const double t = i * SoundLevels::kStepSeconds;
    levels.db.push_back(t >= 1 && t < 3 ? -20 : -60);
  }
  levels.floorDb = -60;
  levels.speechDb = -45;
  return levels;
}

TEST(WordConfidenceTest, anchorsAreSureWordsBetweenThemLessAndWordsOnSilenceNotHeard) {
  std::vector<Word> placed = {{"good", 1.0, 1.4}, {"light", 1.4, 1.9}, {"matters", 1.9, 2.5},
                              {"more", 2.5, 2.9}, {"today", 3.4, 3.9}};
  const std::vector<Word> heard = {{"could", 1.0, 1.4, 0.9}, {"light", 1.45, 1.9, 0.4},
                                   {"more", 4.0, 4.3, 0.9}};
  rateScriptWords(placed, heard, speechFromOneToThree());
  EXPECT_DOUBLE_EQ(placed[1].confidence, 1) << "heard as written, there";
  for (std::size_t i : {0, 2, 3}) {
    EXPECT_GE(placed[i].confidence, kSureConfidence) << placed[i].text;
    EXPECT_LT(placed[i].confidence, 1) << placed[i].text << " was not heard as written there";
  }
  EXPECT_LT(placed[4].confidence, kSureConfidence) << "laid on silence";
}

}  // namespace
}  // namespace vorn::cut
