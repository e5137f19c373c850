// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Words.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace vorn::cut {

// Speech to timed words, one chunk of the take at a time. A chunk is mono 16-bit 16 kHz
// sound that starts `offset` seconds into the take; the words come back in take time.
// Another recogniser (a stronger model the user points to) is one more implementation.
// Words forced onto a chunk, and how well they fit its sound: the log likelihood of the best
// path, comparable only between alignments of the same chunk.
struct Alignment {
  std::vector<Word> words;
  double fit = 0;
};

// Words and how each is said, phone by phone, in the recogniser's phone set.
using Pronunciations = std::map<std::string, std::vector<std::string>>;

class Recogniser {
 public:
  virtual ~Recogniser() = default;

  // Free recognition: whatever words the chunk seems to hold.
  virtual std::vector<Word> transcribe(std::span<const std::int16_t> chunk, double offset) = 0;

  // Forced alignment: the chunk is known to say `expected` in that order; returns those
  // words with their times, or nothing when they cannot be matched to the sound. A first try
  // at the chunk's opening words said again at once ("I sent the… I sent the whole report")
  // comes first, its words marked `offScript`; so do fillers said between the words ("you
  // know", "I mean"), in their places, when listened for, and a hesitation ("uh", "um") where
  // the reader may pause: before the expected words whose indices `pauses` holds.
  virtual Alignment align(std::span<const std::int16_t> chunk, double offset,
                          const std::vector<std::string>& expected,
                          const std::vector<std::size_t>& pauses) = 0;

  // Whether alignments listen for the fillers too: only where the voice stands clear of the
  // noise or the noise is music, as a broad noise would otherwise be heard as them.
  virtual void listenForFillers(bool on) = 0;

  // Whether free recognition may be rough: with a script known, it only plans which chunk
  // reads which of the script's words, and a quicker search places them about as well.
  virtual void transcribeRoughly(bool on) = 0;

  // How the recogniser says `word`, phone by phone ("DH AH" for "the"); empty when it cannot
  // (the word is not in its pronouncing dictionary).
  virtual std::vector<std::string> pronunciation(const std::string& word) = 0;

  // Teaches it words its dictionary lacks, for alignments to lay them.
  virtual void learn(const Pronunciations& words) = 0;
};

}  // namespace vorn::cut
