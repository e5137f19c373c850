// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cmath>

namespace vorn {

struct Size {
  double width = 0;
  double height = 0;
  bool operator==(const Size&) const = default;
};

struct Point {
  double x = 0;
  double y = 0;
  bool operator==(const Point&) const = default;
};

// A rectangle of 64-bit floats with the origin at the top-left. Equality is exact:
// the frame signature and slot comparisons depend on it.
struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  bool operator==(const Rect&) const = default;

  double minX() const { return x; }
  double minY() const { return y; }
  double maxX() const { return x + width; }
  double maxY() const { return y + height; }
  double midX() const { return x + width * 0.5; }
  double midY() const { return y + height * 0.5; }
  Size size() const { return {width, height}; }
  Point center() const { return {midX(), midY()}; }
  bool isEmpty() const { return width <= 0 || height <= 0; }

  // The overlap of two rectangles; an empty (all-zero) rectangle when they do not overlap.
  Rect intersected(const Rect& other) const {
    const double left = std::max(minX(), other.minX());
    const double top = std::max(minY(), other.minY());
    const double right = std::min(maxX(), other.maxX());
    const double bottom = std::min(maxY(), other.maxY());
    if (right <= left || bottom <= top) return {};
    return {left, top, right - left, bottom - top};
  }

  bool contains(const Rect& other) const {
    return other.minX() >= minX() && other.minY() >= minY() && other.maxX() <= maxX() &&
           other.maxY() <= maxY();
  }

  bool contains(const Point& p) const {
    return p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY();
  }

  // Grown by dx on the left and right and dy on the top and bottom (negative shrinks).
  Rect insetBy(double dx, double dy) const {
    return {x + dx, y + dy, width - 2 * dx, height - 2 * dy};
  }

  Rect outsetBy(double dx, double dy) const { return insetBy(-dx, -dy); }

  // Moved (and, if larger, first shrunk about its centre keeping its aspect) to lie within
  // `bounds`.
  Rect clamped(const Rect& bounds) const {
    Rect r = *this;
    if (r.width > bounds.width || r.height > bounds.height) {
      const double factor = std::min(bounds.width / r.width, bounds.height / r.height);
      const Point c = r.center();
      r.width *= factor;
      r.height *= factor;
      r.x = c.x - r.width * 0.5;
      r.y = c.y - r.height * 0.5;
    }
    r.x = std::min(std::max(r.minX(), bounds.minX()), bounds.maxX() - r.width);
    r.y = std::min(std::max(r.minY(), bounds.minY()), bounds.maxY() - r.height);
    return r;
  }

  static Rect centered(Point c, Size s) { return {c.x - s.width * 0.5, c.y - s.height * 0.5, s.width, s.height}; }

  // The smallest whole-number rectangle that contains this one.
  Rect integral() const {
    const double left = std::floor(minX());
    const double top = std::floor(minY());
    return {left, top, std::ceil(maxX()) - left, std::ceil(maxY()) - top};
  }
};

}  // namespace vorn
