// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Chunkwise.h"

#include <algorithm>
#include <exception>
#include <thread>

namespace vorn::cut {
namespace {

// Where the chunks split into two halves of about equal speech.
std::size_t halfway(const std::vector<Span>& chunks) {
  double total = 0;
  for (const Span& chunk : chunks) total += chunk.length();
  double before = 0;
  std::size_t split = 0;
  while (split < chunks.size() && before + chunks[split].length() / 2 < total / 2)
    before += chunks[split++].length();
  return std::max<std::size_t>(split, 1);
}

}  // namespace

void forEachChunk(const std::vector<Span>& chunks, Recogniser& first, Recogniser* second,
                  const std::function<void(Recogniser&, std::size_t)>& work) {
  const std::size_t split = second ? halfway(chunks) : chunks.size();
  const auto run = [&](Recogniser& recogniser, std::size_t from, std::size_t to) {
    for (std::size_t c = from; c < to; ++c) work(recogniser, c);
  };
  std::exception_ptr failure;
  std::thread helper([&] {
    try {
      if (second) run(*second, split, chunks.size());
    } catch (...) {
      failure = std::current_exception();
    }
  });
  try {
    run(first, 0, split);
  } catch (...) {
    helper.join();
    throw;
  }
  helper.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace vorn::cut
