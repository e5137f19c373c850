// SPDX-License-Identifier: GPL-3.0-or-later
// A word's edges judged by the sound: where it starts, where its caption lights and where it
// goes dark.
#pragma once

#include "cut/SoundLevels.h"
#include "cut/Words.h"

#include <functional>
#include <string>
#include <vector>

namespace vorn::cut {

// Starts a word the aligner opened in the last of the voice before it (voice at its start
// that falls to the noise within 50 ms) where the sound leaves the noise again: its own voice.
void startPastTails(const SoundLevels& levels, std::vector<Word>& words);

// How the recogniser says a word, phone by phone ("DH AH" for "the"); empty when it cannot.
using Pronounce = std::function<std::vector<std::string>(const std::string& word)>;

// Sets each word's onset: the first 10 ms of its opening stretch near the word's own loudest
// or standing out of the take's noise (an aligner often opens a word on the quiet before it).
// Over a loud noise the aligner may open a word well before anything of it is heard; with
// `pronounce`, a word opens no earlier than its first phone can stay under the noise before
// its voice rises: a vowel at once, a stop after its closure, a hiss ("s", "th") longer.
void placeOnsets(const SoundLevels& levels, std::vector<Word>& words,
                 const Pronounce& pronounce = {});

// A script word of one sound ("a") laid drawn out over a hesitation, with its own short sound
// after a pause before the next word ("file, uh, a spreadsheet"), inside its span or after it,
// is moved onto that sound and the hesitation kept as an "uh" off the script.
void splitHesitations(const SoundLevels& levels, std::vector<Word>& words, const Pronounce& pronounce);

// Marks each word's `heardUntil`: over a noise an aligner runs a word on past its voice into
// the quiet after it (by 0.1 s or more), where nothing of it is heard.
void markVoiceEnds(const SoundLevels& levels, std::vector<Word>& words);

// Marks each word's `talkAfter`: where, once the take has fallen to its noise after the word,
// voice holds for a tenth of a second before the next word begins.
void markTalkAfter(const SoundLevels& levels, std::vector<Word>& words, double takeLength);

// How long a word's opening may go unheard under a noise before its voice rises, by its first
// phone.
double unvoicedOpeningSeconds(const std::string& phone);

}  // namespace vorn::cut
