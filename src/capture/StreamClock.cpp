// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/StreamClock.h"

#include <algorithm>

namespace vorn {
namespace {

// The arrivals the start is measured over. Longer than the bursts of a source that hands
// over seconds at a time, short enough to follow the sound card's drift.
constexpr double windowSeconds = 4.0;
// How much of the difference each read takes in: slow enough to iron out scheduling noise,
// fast enough to follow clock drift.
constexpr double gain = 0.05;
// A later start is followed at most this fast (seconds per second): far beyond any sound
// card's drift, and slow enough for the track's steering to follow without a seam.
constexpr double maxRise = 0.005;
// Time between reads that their frames do not account for, beyond this: the source paused.
constexpr double pauseSeconds = 0.25;

}  // namespace

void StreamClock::reset() {
  received_ = 0;
  arrivals_.clear();
  set_ = false;
}

void StreamClock::arrived(double arrival, std::int64_t frames) {
  received_ += frames;
  const double latestStart = arrival - double(received_) / rate_;
  const double since = arrival - lastArrival_;
  const bool paused = set_ && since - double(frames) / rate_ > pauseSeconds && latestStart > start_ + pauseSeconds;
  lastArrival_ = arrival;
  if (paused) arrivals_.clear();
  // A rising minimum over the window: the front is the earliest start it allows.
  while (!arrivals_.empty() && arrivals_.back().second >= latestStart) arrivals_.pop_back();
  arrivals_.emplace_back(arrival, latestStart);
  while (arrivals_.front().first < arrival - windowSeconds) arrivals_.pop_front();
  const double measured = arrivals_.front().second;
  if (!set_ || paused || measured < start_) {
    start_ = measured;
    set_ = true;
  } else {
    start_ += std::min((measured - start_) * gain, maxRise * since);
  }
}

}  // namespace vorn
