// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/PixelRect.h"
#include "base/Rect.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorn {

// The outline of one rounded card with its faint light rim, baked once per (rectangle, radius,
// scale). Most of a card's pixels simply take the picture's; only the pixels near the outline
// (the corners, the antialiased sides and the rim) need weights, so only those are stored: each
// row keeps a solid span that is copied and the weights of the pixels left and right of it.
class CardMask {
 public:
  // rect: the card on the canvas (pixels); radius: its corner radius (pixels, > 0); scale: the
  // canvas scale, which sets the rim's width and inset.
  CardMask(const Rect& rect, double radius, double scale);

  // Every canvas pixel the card (with its rim) touches; may reach past the canvas.
  const PixelRect& bounds() const { return bounds_; }
  // The same without baking a mask.
  static PixelRect reach(const Rect& rect, double scale);

  // The columns of canvas row y where the card's picture fully replaces what lies beneath.
  ColumnSpan solid(int y) const;

  // Blends the picture into the canvas row y in the columns [x0, x1) that lie outside the solid
  // span. `picture` holds the card's pixels for columns [x0, x1); `canvasRow` is the whole row.
  void blendEdges(int y, int x0, int x1, const std::uint8_t* picture, std::uint8_t* canvasRow) const;

 private:
  // Per pixel near the outline, premultiplied weights out of 255: the picture's share, the share
  // that stays of what lies beneath (before the picture's alpha is taken off), and the rim's white.
  struct EdgeWeights {
    std::uint8_t picture;
    std::uint8_t keep;
    std::uint8_t rim;
  };
  struct Row {
    ColumnSpan solid;    // canvas columns
    std::size_t offset;  // first weight of this row in weights_
  };

  void bakeRow(int y, bool wholeRow, double margin);
  EdgeWeights weightsAt(int x, int y) const;
  const EdgeWeights* weightAt(int y, int x) const;

  Rect rect_;
  double radius_;
  Rect rimRect_;       // the rim's centre line
  double rimWidth_;
  PixelRect bounds_;
  std::vector<Row> rows_;
  std::vector<EdgeWeights> weights_;
};

}  // namespace vorn
