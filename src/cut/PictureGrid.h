// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "cut/Words.h"

#include <string>
#include <vector>

namespace vorn::cut {

// When each of the take's pictures starts, in seconds. A reel cut only at these moments holds
// whole pictures at the take's own pace, so no picture is shown twice or left out at a cut.
class PictureGrid {
 public:
  // Reads the picture times of the take at `path` (no decoding); throws CutError.
  explicit PictureGrid(const std::string& path);
  explicit PictureGrid(std::vector<double> times);

  bool empty() const { return times_.empty(); }
  // The usual time from one picture to the next (0 for fewer than two pictures).
  double spacing() const;
  // The picture start nearest to `seconds` (`seconds` itself when the take has no pictures).
  double nearest(double seconds) const;
  // The picture starts from `from` to `to`, both included.
  std::vector<double> within(double from, double to) const;
  // `segments` with every edge on a picture start; segments that shrink to fewer than two
  // pictures are dropped (a single picture has no length of its own), touching ones joined.
  std::vector<Span> snapped(const std::vector<Span>& segments) const;

 private:
  std::vector<double> times_;
};

}  // namespace vorn::cut
