// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"

#include <cstddef>
#include <map>
#include <memory>
#include <tuple>

namespace vorn {

// What a baked shape depends on: the card's rectangle on the canvas (pixels), its corner
// radius (pixels) and the canvas scale. Equal triples give the same shape, exactly.
struct ShapeKey {
  Rect rect;
  double radius = 0;
  double scale = 0;

  bool operator<(const ShapeKey& other) const {
    return std::tie(rect.x, rect.y, rect.width, rect.height, radius, scale) <
           std::tie(other.rect.x, other.rect.y, other.rect.width, other.rect.height,
                    other.radius, other.scale);
  }
};

// Baked shapes (card masks, drop shadows) kept for as long as a card keeps its place. The policy
// is deliberately crude: once it holds more than `limit` entries the next insertion empties it
// first. Layouts change rarely and rebuilding a few shapes is cheap next to tracking their use.
// Only the render thread touches it.
template <typename Shape>
class ShapeCache {
 public:
  static constexpr std::size_t limit = 24;

  const Shape* find(const ShapeKey& key) const {
    const auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : it->second.get();
  }

  const Shape& insert(const ShapeKey& key, std::unique_ptr<Shape> shape) {
    if (entries_.size() > limit) entries_.clear();
    auto& slot = entries_[key];
    slot = std::move(shape);
    return *slot;
  }

  std::size_t size() const { return entries_.size(); }

 private:
  std::map<ShapeKey, std::unique_ptr<Shape>> entries_;
};

}  // namespace vorn
