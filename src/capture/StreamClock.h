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
// A later one (deliveries late for seconds on a busy machine) is followed slowly: stamps that
// leapt ahead would leave a silence in the take. Only time that no delivery accounts for (the
// source stopped, then went on) moves the start ahead at once.
class StreamClock {
 public:
  explicit StreamClock(int sampleRate) : rate_(sampleRate) {}

  // A read at `arrival` (media time) brought `frames` more frames, a hole's counted as silence.
  void arrived(double arrival, std::int64_t frames);
  // When frame `index` of the stream was captured.
  double timeOf(std::int64_t index) const { return start_ + double(index) / rate_; }
  bool isSet() const { return set_; }
  void reset();

 private:
  const int rate_;
  std::int64_t received_ = 0;
  // Recent (arrival, latest possible start) pairs, their starts rising.
  std::deque<std::pair<double, double>> arrivals_;
  double start_ = 0;
  double lastArrival_ = 0;
  bool set_ = false;
};

}  // namespace vorn
