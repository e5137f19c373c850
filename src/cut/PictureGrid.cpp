// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/PictureGrid.h"

#include "base/Av.h"

#include <algorithm>

namespace vorn::cut {

PictureGrid::PictureGrid(const std::string& path) {
  av::Input input;
  try {
    input = av::openInput(path);
  } catch (const std::runtime_error&) {
    throw CutError("The take can't be read: it is missing, truncated or not a movie.");
  }
  const int index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0) throw CutError("The take has no picture to cut.");
  for (unsigned i = 0; i < input->nb_streams; ++i)
    if (int(i) != index) input->streams[i]->discard = AVDISCARD_ALL;
  const double unit = av_q2d(input->streams[index]->time_base);
  av::Packet packet = av::makePacket();
  while (av_read_frame(input.get(), packet.get()) >= 0) {
    if (packet->stream_index == index && packet->pts != AV_NOPTS_VALUE)
      times_.push_back(double(packet->pts) * unit);
    av_packet_unref(packet.get());
  }
  std::sort(times_.begin(), times_.end());
  times_.erase(std::unique(times_.begin(), times_.end()), times_.end());
}

PictureGrid::PictureGrid(std::vector<double> times) : times_(std::move(times)) {
  std::sort(times_.begin(), times_.end());
}

double PictureGrid::spacing() const {
  if (times_.size() < 2) return 0;
  std::vector<double> gaps;
  for (std::size_t i = 1; i < times_.size(); ++i) gaps.push_back(times_[i] - times_[i - 1]);
  std::nth_element(gaps.begin(), gaps.begin() + long(gaps.size() / 2), gaps.end());
  return gaps[gaps.size() / 2];
}

double PictureGrid::nearest(double seconds) const {
  if (times_.empty()) return seconds;
  const auto after = std::lower_bound(times_.begin(), times_.end(), seconds);
  if (after == times_.begin()) return *after;
  if (after == times_.end()) return times_.back();
  return *after - seconds < seconds - *(after - 1) ? *after : *(after - 1);
}

std::vector<double> PictureGrid::within(double from, double to) const {
  return {std::lower_bound(times_.begin(), times_.end(), from),
          std::upper_bound(times_.begin(), times_.end(), to)};
}

std::vector<Span> PictureGrid::snapped(const std::vector<Span>& segments) const {
  std::vector<Span> result;
  for (const Span& segment : segments) {
    Span on{nearest(segment.start), nearest(segment.end)};
    if (!times_.empty() && within(on.start, on.end).size() < 3) continue;
    if (on.length() <= 0) continue;
    if (!result.empty() && on.start <= result.back().end)
      result.back().end = std::max(result.back().end, on.end);
    else
      result.push_back(on);
  }
  return result;
}

}  // namespace vorn::cut
