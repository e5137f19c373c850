// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace vorn {

// How late each audio track of a take receives its sound and how far that sound reaches, so
// that the take's end can wait for sound still on its way from a capture source (which may
// hand it over a little late, seconds late, or seconds at a time). Host times. Used on the
// writer thread only.
class AudioArrivals {
 public:
  // A buffer of `track` (0 microphone, 1 system audio) arrived at `at`; its sound reaches `end`.
  void arrived(int track, double at, double end);
  // How much longer to wait, at `now`, for every track to reach `end`: 0 once they all do, or
  // once a track that falls short is later than it has ever been.
  double stillDue(double end, double now) const;

 private:
  struct Track {
    bool any = false;
    double last = 0;        // when the last buffer arrived
    double longestGap = 0;  // the longest pause between two arrivals
    double lateness = 0;    // the most any sound arrived after its end
    double reach = 0;       // where the sound received so far ends
  };
  std::array<Track, 2> tracks_;
};

}  // namespace vorn
