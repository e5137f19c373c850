// SPDX-License-Identifier: GPL-3.0-or-later
#include "record/AudioArrivals.h"

#include <algorithm>

namespace vorn {
namespace {

// Sound is expected by its end plus the track's worst lateness and pause so far, with this
// much room; never waited for longer than the last bound.
constexpr double roomFactor = 1.5;
constexpr double leastRoom = 0.1;
constexpr double longestWait = 3.0;

}  // namespace

void AudioArrivals::arrived(int track, double at, double end) {
  Track& t = tracks_.at(std::size_t(track));
  if (t.any) t.longestGap = std::max(t.longestGap, at - t.last);
  t.any = true;
  t.last = at;
  t.lateness = std::max(t.lateness, at - end);
  t.reach = std::max(t.reach, end);
}

double AudioArrivals::stillDue(double end, double now) const {
  double due = 0;
  for (const Track& t : tracks_) {
    if (!t.any || t.reach >= end) continue;
    const double expected = end + (t.lateness + t.longestGap) * roomFactor + leastRoom;
    due = std::max(due, std::min(expected - now, longestWait));
  }
  return due;
}

}  // namespace vorn
