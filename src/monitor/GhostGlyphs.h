// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPainter>
#include <QPointF>

namespace vorn {

// The platform overlays' glyphs, drawn here rather than taken from any app: each fills a
// square of side `size` centred on `at`, in the painter's pen colour, filled or outlined.
enum class Glyph {
  camera, heart, heartFill, bubble, bubbleFill, paperplane, ellipsis, magnifier, bookmark, share,
  thumbUp, thumbDown, textBubble, turnArrow, remix, disc,
};

void paintGlyph(QPainter& p, Glyph glyph, QPointF at, double size);

}  // namespace vorn
