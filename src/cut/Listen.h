// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Recogniser.h"
#include "cut/SoundLevels.h"
#include "cut/TakeAudio.h"
#include "cut/Words.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vorn::cut {

// What the take says: its words in order with their times.
struct Transcript {
  std::vector<Word> words;
  double duration = 0;
  // True when the words come from a known script laid on the sound.
  bool fromScript = false;
  // The sound's loudness, for cutting in its quiet; empty when not measured.
  SoundLevels levels;
  // Whether the voice stands clear of the take's noise. Over a noise it does not, where a
  // word's sound fades out and what a filler heard freely was are guesses.
  bool clear = true;
  // Whether fillers were listened for and one heard is likely one: where the voice stands
  // clear, or the noise is a music bed. A broad noise (a fan, hiss) is itself heard as them.
  bool fillersHeard = true;
};

// Makes a recogniser; listening runs two at once.
using RecogniserMaker = std::function<std::unique_ptr<Recogniser>()>;

// Sets each word's loudness from the sound it spans.
void measureLoudness(const Pcm& pcm, std::vector<Word>& words);

// Takes a noisy take's steady noise down first (`forListening`), then finds the speech in it,
// cuts it into chunks at pauses and has recognisers from `make`
// transcribe them, two chunks at a time. With a non-empty `script`, the script's words are
// aligned to the chunks that read it instead, each with how sure its place is: a chunk that
// says something else keeps what was heard there, marked unsure, and script words the take
// skips are left out. A take whose chunks match none of the script is listened to freely.
// Throws CutError ("no usable speech") when nothing is heard.
Transcript listen(const Pcm& sound, const RecogniserMaker& make, const std::string& script);

}  // namespace vorn::cut
