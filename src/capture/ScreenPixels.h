// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"

#include <QImage>
#include <QPointF>

#include <cstdint>

namespace vorn {

// Pixel work shared by the screen backends. All of it runs on "vorn.screen", per frame, and
// never throws.

// Copies a 32-bit BGRX picture into `out`, scaling it (box filter) when the sizes differ, and
// makes every pixel opaque: X leaves the fourth byte undefined.
void convertToFrame(const uint8_t* pixels, int stride, int width, int height, FrameBuffer& out);

// Sets the alpha byte of every pixel of a width × height BGRX picture to 255.
void makeOpaque(uint8_t* pixels, int stride, int width, int height);

// Copies a width × height block of 32-bit pixels from (fromX, fromY) of `from` to (toX, toY)
// of `to`.
void copyBlock(const uint8_t* from, int fromStride, int fromX, int fromY, uint8_t* to,
               int toStride, int toX, int toY, int width, int height);
// Draws a width × height block of premultiplied pixels from the top-left of `from` over the
// block at (toX, toY) of `to`.
void blendBlock(const uint8_t* from, int fromStride, uint8_t* to, int toStride, int toX, int toY,
                int width, int height);
// Fills the width × height block at (x, y) with opaque black.
void clearBlock(uint8_t* pixels, int stride, int x, int y, int width, int height);

// The pointer's picture: premultiplied ARGB with its hot spot.
struct CursorImage {
  QImage image;
  int hotX = 0;
  int hotY = 0;
};

// Draws the cursor with its hot spot at `position` (frame pixels), `scale` frame pixels per
// screen pixel.
void drawCursor(FrameBuffer& frame, const CursorImage& cursor, QPointF position, double scale);

// How long a click stays visible, in seconds.
constexpr double clickRingSeconds = 0.5;

// Draws the soft ring of a click `ageSeconds` old around `center` (frame pixels): it widens
// and fades out over clickRingSeconds.
void drawClickRing(FrameBuffer& frame, QPointF center, double ageSeconds, double scale);

}  // namespace vorn
