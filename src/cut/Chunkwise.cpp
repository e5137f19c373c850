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

void onTwoThreads(const std::function<void()>& mine, const std::function<void()>& theirs) {
  std::exception_ptr failure;
  std::thread helper([&] {
    try {
      theirs();
    } catch (...) {
      failure = std::current_exception();
    }
  });
  try {
    mine();
  } catch (...) {
    helper.join();
    throw;
  }
  helper.join();
  if (failure) std::rethrow_exception(failure);
}

void forEachChunk(const std::vector<Span>& chunks, Recogniser& first, Recogniser* second,
                  const std::function<void(Recogniser&, std::size_t)>& work) {
  const auto run = [&](Recogniser& recogniser, std::size_t from, std::size_t to) {
    for (std::size_t c = from; c < to; ++c) work(recogniser, c);
  };
  if (!second) return run(first, 0, chunks.size());
  const std::size_t split = halfway(chunks);
  onTwoThreads([&] { run(first, 0, split); }, [&] { run(*second, split, chunks.size()); });
}

void forEachAlternately(std::size_t count, Recogniser& first, Recogniser* second,
                        const std::function<void(Recogniser&, std::size_t)>& work) {
  const auto run = [&](Recogniser& recogniser, std::size_t from, std::size_t step) {
    for (std::size_t i = from; i < count; i += step) work(recogniser, i);
  };
  if (!second || count < 2) return run(first, 0, 1);
  onTwoThreads([&] { run(first, 0, 2); }, [&] { run(*second, 1, 2); });
}

}  // namespace vorn::cut
