// SPDX-License-Identifier: GPL-3.0-or-later
// The reel engine's command line as the studio writes it.
#include "cut/Options.h"
#include "cut/Words.h"

#include <gtest/gtest.h>

namespace vorn::cut {
namespace {

TEST(OptionsTest, theStudiosCommandLineIsRead) {
  const Options options = parseOptions({"promo", "/t/take.mp4", "--jsonl", "--brain", "claude",
                                        "--out", "/r/take · Reel.mp4", "--theme=two words",
                                        "--face=sculpted", "--camera=0.0741,0.5521,0.8519,0.4167"});
  EXPECT_EQ(options.take, "/t/take.mp4");
  EXPECT_EQ(options.out, "/r/take · Reel.mp4");
  EXPECT_TRUE(options.jsonLines);
  EXPECT_EQ(options.brain, "claude");
  EXPECT_EQ(options.theme, "two words");
  EXPECT_EQ(options.face, "sculpted");
  ASSERT_TRUE(options.camera);
  EXPECT_DOUBLE_EQ((*options.camera)[3], 0.4167);
}

TEST(OptionsTest, wrongCommandLinesAreRefusedWithASentence) {
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"cut", "take.mp4", "--out", "r.mp4"},
      {"promo", "take.mp4"},
      {"promo", "--out", "r.mp4"},
      {"promo", "take.mp4", "--out", "r.mp4", "--loud"},
      {"promo", "take.mp4", "--out", "r.mp4", "--brain", "cloud"},
      {"promo", "take.mp4", "--out", "r.mp4", "--face=natural"},
      {"promo", "take.mp4", "--out", "r.mp4", "--face=natural", "--camera=0.1,0.2,0.3"},
      {"promo", "take.mp4", "--out", "r.mp4", "--camera=0.1,0.2,0.3,x"},
      {"promo", "a.mp4", "b.mp4", "--out", "r.mp4"},
      {"promo", "take.mp4", "--out"},
  };
  for (const auto& arguments : wrong) {
    try {
      parseOptions(arguments);
      ADD_FAILURE() << "accepted: " << ::testing::PrintToString(arguments);
    } catch (const CutError& error) {
      EXPECT_EQ(std::string(error.what()).back(), '.') << error.what();
    }
  }
}

// Values go after "=" or as the next argument alike; help and version need nothing else.
TEST(OptionsTest, valuesComeEitherWayAndHelpStandsAlone) {
  const Options options = parseOptions({"promo", "--theme", "a brief", "--brain=claude", "t.mp4", "--out=r.mp4"});
  EXPECT_EQ(options.theme, "a brief");
  EXPECT_EQ(options.brain, "claude");
  EXPECT_EQ(options.take, "t.mp4");
  EXPECT_EQ(options.out, "r.mp4");
  EXPECT_TRUE(parseOptions({"--help"}).help);
  EXPECT_TRUE(parseOptions({"promo", "-v"}).version);
  EXPECT_EQ(usage().rfind("Usage: vorncut promo TAKE --out REEL [options]\n", 0), 0u) << usage();
  EXPECT_NE(usage().find("--camera <X,Y,W,H>"), std::string::npos);
}

TEST(OptionsTest, jsonLinesAreSeenEvenOnAWrongLine) {
  EXPECT_TRUE(wantsJsonLines({"promo", "--loud", "--jsonl"}));
  EXPECT_FALSE(wantsJsonLines({"promo", "take.mp4"}));
}

}  // namespace
}  // namespace vorn::cut
