// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Recogniser.h"

#include <functional>
#include <vector>

namespace vorn::cut {

// Runs `mine` on this thread and `theirs` on a second one; the first exception from either is
// rethrown once both have stopped.
void onTwoThreads(const std::function<void()>& mine, const std::function<void()>& theirs);

// Runs `work(recogniser, chunk index)` for every chunk: the first half of the speech on this
// thread with `first`, the later half on a second thread with `second` (a decoder serves one
// utterance at a time), so both cores listen. Without `second`, all on this thread. The
// first exception from either half is rethrown once both have stopped.
void forEachChunk(const std::vector<Span>& chunks, Recogniser& first, Recogniser* second,
                  const std::function<void(Recogniser&, std::size_t)>& work);

// Runs `work(recogniser, i)` for every i below `count` the same way: the even ones on this
// thread with `first`, the odd ones with `second`. Which decoder hears what never depends on
// timing: a decoder's noise estimate carries over from one utterance to the next.
void forEachAlternately(std::size_t count, Recogniser& first, Recogniser* second,
                        const std::function<void(Recogniser&, std::size_t)>& work);

}  // namespace vorn::cut
