// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Compositor.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <optional>

namespace vorn {
namespace {

constexpr double maximumCardSpan = 8;  // canvas widths (or heights)
// Preview buffers: one being composed, one on its way to the GUI thread, one shown there,
// and slack for a view that holds its frame a little longer.
constexpr int kPreviewPoolBound = 6;

// The base colour (red 0.02, green 0.02, blue 0.024, opaque) as one BGRA pixel.
constexpr std::uint32_t basePixel = 0xFF050506u;

bool finite(const Rect& r) {
  return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.width) &&
         std::isfinite(r.height);
}

// A slot on the 1080 × 1920 canvas in canvas pixels at `scale`.
Rect toCanvas(const Rect& slot, double scale) {
  return {scale * slot.x, scale * slot.y, scale * slot.width, scale * slot.height};
}

// The part of the screen image that shows `cam`: `area` is the display rectangle the image
// covers, so image pixels per display point are its width over the area's.
std::optional<Rect> screenRegion(const FrameScene& scene, const FrameBuffer& image) {
  if (!(scene.area.width > 0) || image.width() <= 0 || image.height() <= 0) return std::nullopt;
  const double k = image.width() / scene.area.width;
  const Rect wanted{k * (scene.cam.minX() - scene.area.minX()),
                    k * (scene.cam.minY() - scene.area.minY()), k * scene.cam.width,
                    k * scene.cam.height};
  if (!finite(wanted)) return std::nullopt;
  const Rect shown = wanted.intersected({0, 0, double(image.width()), double(image.height())});
  if (shown.isEmpty()) return std::nullopt;
  return shown;
}

// The camera image's crop in pixels, rounded outwards to whole pixels.
std::optional<Rect> cameraRegion(const FrameScene& scene, const FrameBuffer& image) {
  const double width = image.width();
  const double height = image.height();
  if (width <= 0 || height <= 0) return std::nullopt;
  const Rect crop{scene.crop.minX() * width, scene.crop.minY() * height,
                  scene.crop.width * width, scene.crop.height * height};
  if (!finite(crop)) return std::nullopt;
  const Rect shown = crop.integral().intersected({0, 0, width, height});
  if (shown.isEmpty()) return std::nullopt;
  return shown;
}

void fillBase(std::uint8_t* row, int x0, int x1) {
  std::fill(reinterpret_cast<std::uint32_t*>(row) + x0, reinterpret_cast<std::uint32_t*>(row) + x1,
            basePixel);
}

ColumnSpan clipped(ColumnSpan span, int width) {
  return {std::max(span.begin, 0), std::min(span.end, width)};
}

}  // namespace

Compositor::Compositor() = default;
Compositor::~Compositor() = default;

void Compositor::compose(const FrameScene& scene, const FrameBuffer* screen,
                         const FrameBuffer* camera, double scale, FrameBuffer& target) {
  cardCount_ = 0;
  if (!(scale > 0) || scale * Geometry::canvasHeight > INT_MAX) return;
  const int width = int(scale * Geometry::canvasWidth);
  const int height = int(scale * Geometry::canvasHeight);
  const PixelRect canvas{0, 0, std::min(width, target.width()), std::min(height, target.height())};
  if (canvas.isEmpty()) return;

  const Slots& slots = scene.slots;
  const std::optional<Rect> screenShown =
      screen && slots.screen ? screenRegion(scene, *screen) : std::nullopt;
  const std::optional<Rect> cameraShown =
      camera && slots.camera ? cameraRegion(scene, *camera) : std::nullopt;

  bool withBackdrop = false;
  if (slots.backdrop) {
    if (screenShown) {
      withBackdrop = backdrop_.build(*screen, *screenShown, false, width, height);
    } else if (cameraShown) {
      withBackdrop = backdrop_.build(*camera, *cameraShown, scene.mirror, width, height);
    }
  }

  if (screenShown) {
    const Rect slot = toCanvas(*slots.screen, scale);
    if (prepareCard(*screen, *screenShown, false, slot, scale * slots.radius, slots.backdrop,
                    scale, canvas, screenScaler_, cards_[cardCount_])) {
      ++cardCount_;
    }
  }
  if (cameraShown) {
    const Rect slot = toCanvas(*slots.camera, scale);
    // A circle is always lifted, whatever the style: a bubble must stand off the screen.
    const double radius = slots.cameraCircle ? slot.width * 0.5 : scale * slots.radius;
    const bool lifted = slots.cameraCircle || slots.backdrop;
    if (prepareCard(*camera, *cameraShown, scene.mirror, slot, radius, lifted, scale, canvas,
                    cameraScaler_, cards_[cardCount_])) {
      ++cardCount_;
    }
  }
  resolveShapes();

  if (edgeRow_.size() < size_t(canvas.width) * 4) edgeRow_.resize(size_t(canvas.width) * 4);
  for (int y = 0; y < canvas.height; ++y) drawRow(y, canvas.width, target.row(y), withBackdrop);
}

bool Compositor::prepareCard(const FrameBuffer& image, const Rect& region, bool mirror,
                             const Rect& slot, double radius, bool lifted, double scale,
                             const PixelRect& canvas, Scaler& scaler, Card& card) {
  if (!finite(slot) || slot.isEmpty() || !std::isfinite(radius)) return false;
  // No layout makes a card many times the canvas; baking an outline that size would take
  // seconds and gigabytes, so such a card is left out.
  if (slot.width > maximumCardSpan * scale * Geometry::canvasWidth ||
      slot.height > maximumCardSpan * scale * Geometry::canvasHeight) {
    return false;
  }
  card = {};
  card.key = {slot, radius, scale};
  card.rounded = radius > 0;
  // A square card has no outline, rim or shadow, whatever `lifted` says.
  card.lifted = card.rounded && lifted;
  const PixelRect reach = card.rounded ? CardMask::reach(slot, scale) : PixelRect::nearest(slot);
  card.square = PixelRect::nearest(slot);
  card.drawn = reach.intersected(canvas);
  if (card.drawn.isEmpty()) return card.lifted;  // off the canvas, but its shadow may not be
  // Aspect fill: scaled to cover the slot, centred, the overflow cut equally on both sides.
  const double k = std::max(slot.width / region.width, slot.height / region.height);
  const Rect target{slot.midX() - k * region.width * 0.5, slot.midY() - k * region.height * 0.5,
                    k * region.width, k * region.height};
  if (scaler.prepare(image, region, target, card.drawn, mirror)) card.scaler = &scaler;
  return card.scaler || card.lifted;
}

// Looks up (or bakes) the outline and shadow of every card. An insertion may empty a cache, so
// pointers are taken only once all shapes are in; after an emptying the cache holds just this
// frame's few shapes, so the second round always finds them.
void Compositor::resolveShapes() {
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < cardCount_; ++i) {
      Card& card = cards_[i];
      if (!card.rounded) continue;
      if (!masks_.find(card.key)) {
        masks_.insert(card.key,
                      std::make_unique<CardMask>(card.key.rect, card.key.radius, card.key.scale));
      }
      if (card.lifted && !shadows_.find(card.key)) {
        shadows_.insert(card.key, std::make_unique<Shadow>(card.key.rect, card.key.radius,
                                                           card.key.scale, blurScratch_));
      }
    }
  }
  for (int i = 0; i < cardCount_; ++i) {
    Card& card = cards_[i];
    card.mask = card.rounded ? masks_.find(card.key) : nullptr;
    card.shadow = card.lifted ? shadows_.find(card.key) : nullptr;
  }
}

ColumnSpan Compositor::solidSpan(const Card& card, int y) {
  if (!card.scaler || y < card.drawn.y || y >= card.drawn.bottom()) return {};
  if (card.mask) return card.mask->solid(y);
  return {card.square.x, card.square.right()};
}

void Compositor::drawRow(int y, int width, std::uint8_t* row, bool withBackdrop) {
  // The background, except beneath the cards' solid spans, which they cover anyway.
  ColumnSpan covered[2];
  int coveredCount = 0;
  for (int i = 0; i < cardCount_; ++i) {
    const ColumnSpan span = clipped(solidSpan(cards_[i], y), width);
    if (!span.isEmpty()) covered[coveredCount++] = span;
  }
  if (coveredCount == 2 && covered[1].begin < covered[0].begin) std::swap(covered[0], covered[1]);
  if (withBackdrop) backdrop_.beginRow(y);
  int x = 0;
  for (int i = 0; i < coveredCount; ++i) {
    drawBackground(x, covered[i].begin, row, withBackdrop);
    x = std::max(x, covered[i].end);
  }
  drawBackground(x, width, row, withBackdrop);

  for (int i = 0; i < cardCount_; ++i) {
    const Card& card = cards_[i];
    if (card.shadow) card.shadow->darken(y, row, width, shadowCover(i, y));
    drawCard(card, y, row);
  }
}

// The columns of row y where card `index`'s shadow needn't be drawn: its own solid span, or in
// rows it doesn't reach, that of a card drawn over it (split's panes shade each other's rows).
ColumnSpan Compositor::shadowCover(int index, int y) const {
  for (int i = index; i < cardCount_; ++i) {
    const ColumnSpan span = solidSpan(cards_[i], y);
    if (!span.isEmpty()) return span;
  }
  return {};
}

void Compositor::drawBackground(int x0, int x1, std::uint8_t* row, bool withBackdrop) {
  if (x1 <= x0) return;
  if (withBackdrop) {
    backdrop_.columns(x0, x1, row + 4 * x0);
  } else {
    fillBase(row, x0, x1);
  }
}

void Compositor::drawCard(const Card& card, int y, std::uint8_t* row) {
  if (!card.scaler || y < card.drawn.y || y >= card.drawn.bottom()) return;
  const int x0 = card.drawn.x;
  const int x1 = card.drawn.right();
  card.scaler->beginRow(y);
  if (!card.mask) {
    card.scaler->columns(x0, x1, row + 4 * x0);
    return;
  }
  ColumnSpan solid = card.mask->solid(y);
  solid = {std::clamp(solid.begin, x0, x1), std::clamp(solid.end, x0, x1)};
  if (solid.isEmpty()) solid = {x1, x1};
  card.scaler->columns(solid.begin, solid.end, row + 4 * solid.begin);
  // The outline's pixels go through a scratch row and are blended by the mask's weights.
  const auto edges = [&](int from, int to) {
    if (to <= from) return;
    card.scaler->columns(from, to, edgeRow_.data());
    card.mask->blendEdges(y, from, to, edgeRow_.data(), row);
  };
  edges(x0, solid.begin);
  edges(solid.end, x1);
}

FrameRef Compositor::previewBuffer(double scale) {
  if (!(scale > 0) || scale * Geometry::canvasHeight > INT_MAX) return nullptr;
  const int width = int(scale * Geometry::canvasWidth);
  const int height = int(scale * Geometry::canvasHeight);
  if (width < 1 || height < 1) return nullptr;
  auto it = pools_.find(width);
  if (it == pools_.end()) it = pools_.emplace(width, std::make_unique<FramePool>(width, height, 4, kPreviewPoolBound)).first;
  return it->second->take();
}

const FramePool* Compositor::pool(int width) const {
  const auto it = pools_.find(width);
  return it == pools_.end() ? nullptr : it->second.get();
}

}  // namespace vorn
