// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Listen.h"
#include "cut/Sentences.h"

#include <vector>

namespace vorn::cut {

// The take's sentences and the part each plays in its story.
struct Outline {
  std::vector<Sentence> sentences;
  // Per word: clutter a creator would cut (fillers, first tries of a phrase).
  std::vector<bool> clutter;
  // Per sentence: part of an aside, a stretch that wanders off the take's topic and comes
  // back; the story leaves it out.
  std::vector<bool> asides;
  // The opening sentence that says something: the story opens on it.
  std::size_t hook = 0;
  // The story's closing line, which pays off the hook: the story always keeps it.
  std::size_t punchline = 0;
};

// The take's outline. An aside is one to three sentences after the hook and before the
// take's last word that name nothing named anywhere else in the take, while the sentences
// either side of them do (the speaker left the topic and came back to it); with a known
// script, also every sentence of talk the script doesn't hold, and the hook is a sentence
// read from the script. The punchline is the latest of the last sentences that names
// something the hook named, else the last sentence that says something. Throws CutError when
// the take holds no words.
Outline outlineOf(const Transcript& transcript);

}  // namespace vorn::cut
