// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/PixelRect.h"
#include "base/Rect.h"
#include "render/Backdrop.h"
#include "render/CardMask.h"
#include "model/Geometry.h"
#include "render/Scaler.h"
#include "render/Shadow.h"
#include "render/ShapeCache.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace vorn {

// The compositor's description of one frame, built by the render loop.
struct FrameScene {
  Slots slots;  // where the screen and camera cards go
  Rect cam;     // display points, origin top-left: the part of the display the screen card shows
  Rect area;    // display points: the part of the display the screen image covers; zero: none
  Rect crop;    // unit rectangle, origin top-left: the part of the camera image the card shows
  bool mirror = false;  // flip the camera picture left to right

  bool operator==(const FrameScene&) const = default;
};

// Composes the portrait frame (1080 × 1920 times a scale) from the latest screen and camera
// images on the CPU, and hands out the buffers that previews are drawn into.
//
// Everything is drawn in one pass over the canvas rows, back to front within each row
// (backdrop or base, the screen card's shadow and card, the camera card's shadow and card), so a
// row is still in cache while its layers land; pixels that an opaque card covers are not drawn
// beneath it. Card outlines and shadows are baked once per (rectangle, radius, scale); scratch
// memory is kept. Capture frames are opaque: the cards take their pixels as they are.
//
// The render thread's own: not thread-safe, and it never spreads work over other threads.
class Compositor {
 public:
  Compositor();
  ~Compositor();
  Compositor(const Compositor&) = delete;
  Compositor& operator=(const Compositor&) = delete;

  // Draws the whole canvas of int(scale × 1080) × int(scale × 1920) pixels into `target`
  // (clipped to the target's size). Missing images leave out their cards; nothing throws.
  void compose(const FrameScene& scene, const FrameBuffer* screen, const FrameBuffer* camera,
               double scale, FrameBuffer& target);

  // A free buffer of the canvas size for `scale`, from a pool kept per width (at least four
  // buffers, so the preview can hold one while the next frame is drawn); null for a scale
  // that gives no canvas.
  FrameRef previewBuffer(double scale);

  // For tests and diagnostics: how many shadows are baked, how many pools exist, the pool that
  // serves a width (null if none).
  std::size_t shadowCount() const { return shadows_.size(); }
  std::size_t poolCount() const { return pools_.size(); }
  const FramePool* pool(int width) const;

 private:
  // One card to draw this frame.
  struct Card {
    ShapeKey key;                    // its rectangle (canvas pixels), radius and scale
    bool rounded = false;            // drawn through a mask (radius > 0)
    bool lifted = false;             // has a drop shadow
    Scaler* scaler = nullptr;        // null: nothing of the card itself is on the canvas
    const CardMask* mask = nullptr;  // set for rounded cards once the shapes are resolved
    const Shadow* shadow = nullptr;  // set for lifted cards likewise
    PixelRect square;                // where a square card lands (canvas pixels)
    PixelRect drawn;                 // the card's pixels within the canvas
  };

  bool prepareCard(const FrameBuffer& image, const Rect& region, bool mirror, const Rect& slot,
                   double radius, bool lifted, double scale, const PixelRect& canvas,
                   Scaler& scaler, Card& card);
  void resolveShapes();
  static ColumnSpan solidSpan(const Card& card, int y);
  ColumnSpan shadowCover(int index, int y) const;
  void drawRow(int y, int width, std::uint8_t* row, bool withBackdrop);
  void drawBackground(int x0, int x1, std::uint8_t* row, bool withBackdrop);
  void drawCard(const Card& card, int y, std::uint8_t* row);

  ShapeCache<CardMask> masks_;
  ShapeCache<Shadow> shadows_;
  std::map<int, std::unique_ptr<FramePool>> pools_;  // by canvas width

  // Per-frame state, reused.
  Scaler screenScaler_;
  // Camera pictures are soft from the lens: large reductions may sample sparsely.
  Scaler cameraScaler_{Scaler::Reduction::sparse};
  Backdrop backdrop_;
  Card cards_[2];
  int cardCount_ = 0;
  std::vector<std::uint8_t> edgeRow_;  // a card's pixels for one row, before blending
  std::vector<float> blurScratch_;
};

}  // namespace vorn
