// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <deque>
#include <utility>

namespace vorn {

// When each sample of a sound stream was captured, measured from when the stream's reads
// arrive. No sample can arrive before it was captured, and a server's latency figure can't be
// trusted for when it was (a pipe source reports its whole capacity, a generator hands over
// seconds ahead): the stream's start is the latest that every arrival of the last seconds
// allows. An earlier start is taken at once, so no sample is ever stamped after it arrived.
// A later one is followed smoothly while it is near (the sound card's drift), and at once in
// the stream's first seconds (a source's opening burst) or when the arrivals of the last
// quarter minute agree (a source that paused or lost sound without a hole). Otherwise it is
// held: deliveries late for seconds on a busy machine say nothing about when the sound was
// captured, and stamps that leapt ahead would leave a silence in the take.
class StreamClock {
 public:
  explicit StreamClock(int sampleRate = 48000) : rate_(sampleRate) {}

  // A read at `arrival` (media time) brought `frames` more frames.
  void arrived(double arrival, std::int64_t frames);
  // When frame `index` of the stream was captured.
  double timeOf(std::int64_t index) const { return start_ + double(index) / rate_; }
  // Starts over, for a stream of `sampleRate` frames a second.
  void reset(int sampleRate);

 private:
  // Recent (arrival, latest possible start) pairs, their starts rising: the front is the
  // earliest start that the arrivals within the window allow.
  struct Window {
    double seconds;
    std::deque<std::pair<double, double>> arrivals;
    double add(double arrival, double latestStart);
  };

  int rate_;
  std::int64_t received_ = 0;
  Window recent_{4.0, {}};
  Window long_{15.0, {}};
  double start_ = 0;
  double firstArrival_ = 0;
  bool set_ = false;
};

}  // namespace vorn
