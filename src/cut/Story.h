// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Listen.h"

#include <string>
#include <vector>

namespace vorn::cut {

// What the reel tells and how it is cut from the take.
struct Story {
  // The stretches of the take that make the reel, in the take's order, never overlapping.
  std::vector<Span> segments;
  // The words the reel keeps (for its captions), in order, in take time.
  std::vector<Word> words;
  std::vector<std::string> headline;
  std::string caption;
  std::vector<std::string> flags;
  std::string brand;
  std::string brain;

  double length() const;
};

// How long a reel may be: at most `longest` seconds, never longer than the take.
struct Budget {
  double shortest = 20;
  double longest = 60;
};

// The story the machine finds on its own: a strong sentence from the opening as the hook,
// then the best sentences after it that fit the budget, in the take's order; each cut falls
// between words with a little padding, fillers and long pauses left out.
Story deviceStory(const Transcript& transcript, const std::string& theme, Budget budget = {});

// Runs of words, as first and last index into a transcript's words.
using WordRuns = std::vector<std::pair<std::size_t, std::size_t>>;

// Runs of the held words (`held` per word of the transcript), split where the speaker pauses
// long: a reel leaves such a pause out.
WordRuns heldRuns(const Transcript& transcript, const std::vector<bool>& held);

// Sets the story's segments and kept words to the runs of the transcript's words.
void keepRuns(Story& story, const Transcript& transcript, const WordRuns& runs);

// Turns chosen stretches of the take into reel segments: padded where the neighbouring
// words leave room, split around fillers and long pauses, never inside a word.
std::vector<Span> cutsAround(const std::vector<Word>& words, const WordRuns& runs,
                             double takeLength);

}  // namespace vorn::cut
