#include "cut/Pauses.h"

#include <algorithm>
#include <cmath>

namespace vorn::cut {
namespace {

constexpr int kFrame = Pcm::kRate / 100;  // 10 ms
constexpr double kFrameSeconds = 0.01;
// Speech stands this far above the floor, and never below this absolute level.
constexpr double kAboveFloorDb = 15;
constexpr double kQuietestSpeechDb = -50;
constexpr double kShortestSpeech = 0.15;
constexpr double kChunkMargin = 0.2;

std::vector<double> frameLevels(const Pcm& pcm) {
  std::vector<double> levels;
  for (std::size_t at = 0; at + kFrame <= pcm.samples.size(); at += kFrame) {
    double sum = 0;
    for (int i = 0; i < kFrame; ++i) {
      const double value = pcm.samples[at + i] / 32768.0;
      sum += value * value;
    }
    levels.push_back(10 * std::log10(sum / kFrame + 1e-12));
  }
  return levels;
}

double threshold(std::vector<double> levels) {
  const auto tenth = levels.begin() + levels.size() / 10;
  std::nth_element(levels.begin(), tenth, levels.end());
  return std::max(*tenth + kAboveFloorDb, kQuietestSpeechDb);
}

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
  const std::vector<double> levels = frameLevels(pcm);
  if (levels.empty()) return {};
  std::vector<Span> speech;
  for (const Span& stretch : bridged(loudStretches(levels, threshold(levels)), bridge))
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

}  // namespace vorn::cut
