// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/CardMask.h"

#include "render/RoundedRect.h"

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

constexpr double rimAlpha = 0.1;  // the rim is white at this opacity

std::uint8_t toByte(double unit) { return std::uint8_t(std::clamp(unit, 0.0, 1.0) * 255 + 0.5); }

}  // namespace

CardMask::CardMask(const Rect& rect, double radius, double scale)
    : rect_(rect),
      radius_(radius),
      rimRect_(rect.insetBy(0.5 * scale, 0.5 * scale)),
      rimWidth_(std::max(2 * scale, 1.0)) {
  bounds_ = reach(rect, scale);
  // Beyond this distance from the left and right sides every pixel is plain picture (the corners'
  // arcs lie within it); rows this close to the top or bottom are rim or outline all along.
  const double margin = std::min(radius_, std::min(rect.width, rect.height) * 0.5) + rimWidth_ + 3;
  const double edgeRows = rimWidth_ + 3;
  rows_.reserve(size_t(bounds_.height));
  for (int y = bounds_.y; y < bounds_.bottom(); ++y) {
    const double centre = y + 0.5;
    const bool nearTopOrBottom = centre < rect.minY() + edgeRows || centre > rect.maxY() - edgeRows;
    bakeRow(y, nearTopOrBottom, margin);
  }
  weights_.shrink_to_fit();
}

PixelRect CardMask::reach(const Rect& rect, double scale) {
  const double outside = std::max(2 * scale, 1.0) * 0.5 + 1;  // half the rim, and the ramp
  return PixelRect::covering(rect.outsetBy(outside, outside));
}

CardMask::EdgeWeights CardMask::weightsAt(int x, int y) const {
  const double px = x + 0.5;
  const double py = y + 0.5;
  const double cover = roundedRectCoverage(rect_, radius_, px, py);
  const double rimDistance = std::abs(roundedRectDistance(rimRect_, radius_, px, py));
  const double rim = rimAlpha * std::clamp(rimWidth_ * 0.5 + 0.5 - rimDistance, 0.0, 1.0);
  return {toByte((1 - rim) * cover), toByte(1 - rim), toByte(rim)};
}

void CardMask::bakeRow(int y, bool wholeRow, double margin) {
  const size_t offset = weights_.size();
  const auto isSolid = [](const EdgeWeights& w) { return w.picture == 255 && w.rim == 0; };
  const auto evaluate = [&](int from, int to) {
    for (int x = from; x < to; ++x) weights_.push_back(weightsAt(x, y));
  };
  // The first run of solid pixels among the weights of columns [from, to) stored at `at`:
  // its columns are dropped from storage and returned.
  const auto takeSolidRun = [&](size_t at, int from, int to) -> ColumnSpan {
    int begin = from;
    while (begin < to && !isSolid(weights_[at + size_t(begin - from)])) ++begin;
    int end = begin;
    while (end < to && isSolid(weights_[at + size_t(end - from)])) ++end;
    weights_.erase(weights_.begin() + std::ptrdiff_t(at + size_t(begin - from)),
                   weights_.begin() + std::ptrdiff_t(at + size_t(end - from)));
    return {begin, end};
  };

  if (!wholeRow) {
    const int leftEnd = std::clamp(int(std::ceil(rect_.minX() + margin)), bounds_.x, bounds_.right());
    const int rightBegin =
        std::clamp(int(std::floor(rect_.maxX() - margin)), leftEnd, bounds_.right());
    if (rightBegin > leftEnd) {
      // Columns [leftEnd, rightBegin) are deep inside the card: solid without looking.
      evaluate(bounds_.x, leftEnd);
      const ColumnSpan left = takeSolidRun(offset, bounds_.x, leftEnd);
      const int solidBegin = left.isEmpty() ? leftEnd : left.begin;
      const size_t rightAt = weights_.size();
      evaluate(rightBegin, bounds_.right());
      const ColumnSpan right = takeSolidRun(rightAt, rightBegin, bounds_.right());
      const int solidEnd = right.begin == rightBegin ? right.end : rightBegin;
      rows_.push_back({{solidBegin, solidEnd}, offset});
      return;
    }
  }
  evaluate(bounds_.x, bounds_.right());
  ColumnSpan solid = takeSolidRun(offset, bounds_.x, bounds_.right());
  if (solid.isEmpty()) solid = {bounds_.right(), bounds_.right()};
  rows_.push_back({solid, offset});
}

ColumnSpan CardMask::solid(int y) const {
  if (y < bounds_.y || y >= bounds_.bottom()) return {};
  return rows_[size_t(y - bounds_.y)].solid;
}

const CardMask::EdgeWeights* CardMask::weightAt(int y, int x) const {
  const Row& row = rows_[size_t(y - bounds_.y)];
  if (x < row.solid.begin) return &weights_[row.offset + size_t(x - bounds_.x)];
  return &weights_[row.offset + size_t(row.solid.begin - bounds_.x) + size_t(x - row.solid.end)];
}

void CardMask::blendEdges(int y, int x0, int x1, const std::uint8_t* picture,
                          std::uint8_t* canvasRow) const {
  if (y < bounds_.y || y >= bounds_.bottom()) return;
  const int pictureX0 = x0;
  x0 = std::max(x0, bounds_.x);
  x1 = std::min(x1, bounds_.right());
  const ColumnSpan solidSpan = solid(y);
  const auto blend = [&](int from, int to) {
    for (int x = from; x < to; ++x) {
      const EdgeWeights& w = *weightAt(y, x);
      const std::uint8_t* src = picture + 4 * (x - pictureX0);
      std::uint8_t* dst = canvasRow + 4 * x;
      const int beneath = std::max(0, (w.keep * 255 - w.picture * src[3] + 127) / 255);
      for (int c = 0; c < 4; ++c) {
        const int value = (src[c] * w.picture + dst[c] * beneath + 127) / 255 + w.rim;
        dst[c] = std::uint8_t(std::min(value, 255));
      }
    }
  };
  blend(x0, std::min(x1, solidSpan.begin));
  blend(std::max(x0, solidSpan.end), x1);
}

}  // namespace vorn
