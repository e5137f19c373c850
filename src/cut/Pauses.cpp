// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Pauses.h"

#include "cut/SoundLevels.h"

#include <algorithm>
#include <cmath>

namespace vorn::cut {
namespace {

constexpr double kFrameSeconds = SoundLevels::kStepSeconds;
constexpr double kShortestSpeech = 0.15;
constexpr double kChunkMargin = 0.2;
constexpr double kRoomAfter = 0.2;

std::vector<Span> loudStretches(const std::vector<double>& levels, double limit) {
  std::vector<Span> stretches;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (levels[i] < limit) continue;
    const double start = i * kFrameSeconds;
    while (i < levels.size() && levels[i] >= limit) ++i;
    stretches.push_back({start, i * kFrameSeconds});
  }
  return stretches;
}

std::vector<Span> bridged(const std::vector<Span>& stretches, double bridge) {
  std::vector<Span> joined;
  for (const Span& stretch : stretches) {
    if (!joined.empty() && stretch.start - joined.back().end < bridge)
      joined.back().end = stretch.end;
    else
      joined.push_back(stretch);
  }
  return joined;
}

// Splits a group of speech stretches in two at its widest gap until every part is short.
void splitLong(const std::vector<Span>& group, double longest, std::vector<Span>& out) {
  if (group.empty()) return;
  if (group.back().end - group.front().start <= longest || group.size() == 1) {
    out.push_back({group.front().start, group.back().end});
    return;
  }
  std::size_t widest = 1;
  for (std::size_t i = 1; i < group.size(); ++i)
    if (group[i].start - group[i - 1].end > group[widest].start - group[widest - 1].end) widest = i;
  splitLong({group.begin(), group.begin() + widest}, longest, out);
  splitLong({group.begin() + widest, group.end()}, longest, out);
}

}  // namespace

std::vector<Span> findSpeech(const Pcm& pcm, double bridge) {
  const SoundLevels levels = SoundLevels::of(pcm);
  if (levels.db.empty()) return {};
  std::vector<Span> speech;
  for (const Span& stretch : bridged(loudStretches(levels.db, levels.speechDb), bridge))
    if (stretch.length() >= kShortestSpeech) speech.push_back(stretch);
  return speech;
}

std::vector<Span> chunksForListening(const std::vector<Span>& speech, double takeLength,
                                     double pause, double longest) {
  std::vector<Span> chunks;
  std::vector<Span> group;
  const auto flush = [&] {
    splitLong(group, longest, chunks);
    group.clear();
  };
  for (const Span& stretch : speech) {
    if (!group.empty() && stretch.start - group.back().end >= pause) flush();
    group.push_back(stretch);
  }
  flush();
  for (Span& chunk : chunks) {
    chunk.start = std::max(0.0, chunk.start - kChunkMargin);
    chunk.end = std::min(takeLength, chunk.end + kChunkMargin);
  }
  return chunks;
}

std::vector<Span> withRoomAfter(std::vector<Span> chunks, double takeLength) {
  for (std::size_t c = 0; c < chunks.size(); ++c) {
    const double next = c + 1 < chunks.size() ? chunks[c + 1].start : takeLength;
    chunks[c].end = std::max(chunks[c].end, std::min(chunks[c].end + kRoomAfter, (chunks[c].end + next) / 2));
  }
  return chunks;
}

}  // namespace vorn::cut
