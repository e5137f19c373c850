// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/StreamClock.h"

namespace vorn {
namespace {

// A later start nearer than this is followed smoothly (drift, scheduling noise).
constexpr double nearSeconds = 0.02;
// How much of a near difference each read takes in.
constexpr double gain = 0.05;
// The stream's opening seconds, in which a source's first burst settles.
constexpr double settleSeconds = 8.0;

}  // namespace

double StreamClock::Window::add(double arrival, double latestStart) {
  while (!arrivals.empty() && arrivals.back().second >= latestStart) arrivals.pop_back();
  arrivals.emplace_back(arrival, latestStart);
  while (arrivals.front().first < arrival - seconds) arrivals.pop_front();
  return arrivals.front().second;
}

void StreamClock::reset(int sampleRate) {
  rate_ = sampleRate;
  received_ = 0;
  recent_.arrivals.clear();
  long_.arrivals.clear();
  set_ = false;
}

void StreamClock::arrived(double arrival, std::int64_t frames) {
  received_ += frames;
  const double latestStart = arrival - double(received_) / rate_;
  const double measured = recent_.add(arrival, latestStart);
  const double agreed = long_.add(arrival, latestStart);
  if (!set_) firstArrival_ = arrival;
  const bool settling = arrival - firstArrival_ < settleSeconds;
  if (!set_ || measured < start_ || (settling && measured - start_ > nearSeconds)) {
    start_ = measured;
    set_ = true;
  } else if (measured - start_ <= nearSeconds) {
    start_ += (measured - start_) * gain;
  } else if (agreed - start_ > nearSeconds) {
    start_ = agreed;
  }
}

}  // namespace vorn
