// SPDX-License-Identifier: GPL-3.0-or-later
// Speech and pauses found from the sound's energy alone.
#include "cut/Pauses.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vorn::cut {
namespace {

// Silence with a 300 Hz tone over each of `loud` (seconds).
Pcm withTones(double seconds, const std::vector<Span>& loud) {
  Pcm pcm;
  pcm.samples.resize(std::size_t(seconds * Pcm::kRate));
  for (const Span& span : loud)
    for (auto i = std::size_t(span.start * Pcm::kRate); i < std::size_t(span.end * Pcm::kRate); ++i)
      pcm.samples[i] = std::int16_t(8000 * std::sin(2 * M_PI * 300 * i / Pcm::kRate));
  return pcm;
}

TEST(PausesTest, loudStretchesAreFoundToTheFrame) {
  const std::vector<Span> speech = findSpeech(withTones(6, {{1, 2}, {3.5, 5}}));
  ASSERT_EQ(speech.size(), 2u);
  EXPECT_NEAR(speech[0].start, 1, 0.02);
  EXPECT_NEAR(speech[0].end, 2, 0.02);
  EXPECT_NEAR(speech[1].start, 3.5, 0.02);
  EXPECT_NEAR(speech[1].end, 5, 0.02);
}

TEST(PausesTest, shortGapsAreBridgedAndBlipsDropped) {
  const std::vector<Span> speech = findSpeech(withTones(5, {{1, 1.5}, {1.6, 2}, {3, 3.05}}));
  ASSERT_EQ(speech.size(), 1u);
  EXPECT_NEAR(speech[0].end, 2, 0.02);
}

TEST(PausesTest, silenceHoldsNoSpeech) { EXPECT_TRUE(findSpeech(withTones(3, {})).empty()); }

TEST(PausesTest, chunksEndAtPausesAndLongOnesSplitAtTheWidestGap) {
  std::vector<Span> speech;
  for (double t = 0.5; t < 30; t += 1.4) speech.push_back({t, t + 1.2});
  speech.push_back({40, 41});
  const std::vector<Span> chunks = chunksForListening(speech, 42);
  ASSERT_GE(chunks.size(), 3u);
  for (const Span& chunk : chunks) EXPECT_LE(chunk.length(), 15 + 0.4);
  EXPECT_NEAR(chunks.back().start, 39.8, 1e-9);
  EXPECT_NEAR(chunks.back().end, 41.2, 1e-9);
  for (std::size_t i = 1; i < chunks.size(); ++i)
    EXPECT_GE(chunks[i].start, chunks[i - 1].end - 0.4);
}

TEST(PausesTest, aSearchedChunkReachesIntoTheQuietAfterItButNeverHalfwayToTheNext) {
  const std::vector<Span> searched = withRoomAfter({{1, 3}, {3.5, 6.4}, {6.6, 9.9}}, 10);
  ASSERT_EQ(searched.size(), 3u);
  EXPECT_NEAR(searched[0].end, 3.2, 1e-9);
  EXPECT_NEAR(searched[1].end, 6.5, 1e-9);
  EXPECT_NEAR(searched[2].end, 9.95, 1e-9);
  EXPECT_EQ(searched[1].start, 3.5);
}

}  // namespace
}  // namespace vorn::cut
