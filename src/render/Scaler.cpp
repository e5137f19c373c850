// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Scaler.h"

#include "render/ScaleKernels.h"

#include <cmath>
#include <cstring>

namespace vorn {
namespace {

constexpr int linePadding = 2;  // pixels of edge copies on each side of line_

bool finite(const Rect& r) {
  return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.width) &&
         std::isfinite(r.height);
}

void copyPixel(std::uint8_t* to, const std::uint8_t* from) { std::memcpy(to, from, 4); }

}  // namespace

int Scaler::halvings(double scale, int width, int height) {
  int count = 0;
  while (scale < 0.5 && (width >> (count + 1)) >= 2 && (height >> (count + 1)) >= 2) {
    scale *= 2;
    ++count;
  }
  return count;
}

bool Scaler::prepare(const FrameBuffer& source, const Rect& region, const Rect& target,
                     const PixelRect& clip, bool mirror) {
  level_ = nullptr;
  if (!finite(region) || !finite(target) || region.isEmpty() || target.isEmpty() ||
      clip.isEmpty()) {
    return false;
  }
  const Rect shown = region.intersected({0, 0, double(source.width()), double(source.height())});
  if (shown.isEmpty()) return false;

  const double kx = target.width / region.width;  // canvas pixels per source pixel
  const double ky = target.height / region.height;
  // Source coordinate (continuous) of canvas position X: sx(X) = a + b * X.
  const double bx = mirror ? -1.0 / kx : 1.0 / kx;
  const double ax = mirror ? region.maxX() - (0.5 - target.x) / kx : region.x + (0.5 - target.x) / kx;
  const double by = 1.0 / ky;
  const double ay = region.y + (0.5 - target.y) / ky;

  // The source pixels the clip needs, one extra on each side for the filter.
  const double sx0 = ax + bx * clip.x;
  const double sx1 = ax + bx * (clip.right() - 1);
  const double sy0 = ay + by * clip.y;
  const double sy1 = ay + by * (clip.bottom() - 1);
  const PixelRect needed = PixelRect::covering({std::min(sx0, sx1) - 1, std::min(sy0, sy1) - 1,
                                                std::abs(sx1 - sx0) + 2, std::abs(sy1 - sy0) + 2})
                               .intersected(PixelRect::covering(shown))
                               .intersected({0, 0, source.width(), source.height()});
  if (needed.isEmpty()) return false;

  int count = halvings(std::min(kx, ky), needed.width, needed.height);
  // A soft picture shrunk to between a quarter and a half is sampled bilinearly straight from
  // the source, as sparsely as a sparse reduction would: halving it first reads every pixel.
  if (reduction_ == Reduction::sparse && count == 1) count = 0;
  const std::uint8_t* origin = source.row(needed.y) + needed.x * 4;
  if (reduction_ != Reduction::sparse || count < 2 ||
      !buildSparseLevel(origin, source.stride(), needed.width, needed.height, count)) {
    buildLevels(origin, source.stride(), needed.width, needed.height, count);
  }

  const double unit = double(1 << count);
  u0_ = (ax - needed.x) / unit - 0.5;
  du_ = bx / unit;
  v0_ = (ay - needed.y) / unit - 0.5;
  dv_ = by / unit;

  const size_t lineBytes = size_t(levelWidth_ + 2 * linePadding) * 4;
  if (line_.size() < lineBytes) line_.resize(lineBytes);
  clip_ = clip;
  enlarging_ = dv_ <= 1;
  if (enlarging_) {
    const size_t wideBytes = size_t(clip.width) * 4 * 2;
    if (wide_.size() < wideBytes) wide_.resize(wideBytes);
    wideRow_[0] = wideRow_[1] = -1;
  }
  return true;
}

std::uint8_t* Scaler::scratch(int index, int width, int height, int& stride) {
  stride = (width * 4 + 63) & ~63;
  std::vector<std::uint8_t>& buffer = halves_[index];
  if (buffer.size() < size_t(stride) * size_t(height)) buffer.resize(size_t(stride) * size_t(height));
  return buffer.data();
}

void Scaler::buildLevels(const std::uint8_t* origin, int stride, int width, int height, int count) {
  level_ = origin;
  levelStride_ = stride;
  levelWidth_ = width;
  levelHeight_ = height;
  for (int i = 0; i < count; ++i) {
    const int w = levelWidth_ / 2;
    const int h = levelHeight_ / 2;
    int outStride = 0;
    std::uint8_t* out = scratch(i % 2, w, h, outStride);
    for (int y = 0; y < h; ++y) {
      fastestScaleKernels().halveRow(level_ + std::ptrdiff_t(2 * y) * levelStride_, levelStride_,
                         out + std::ptrdiff_t(y) * outStride, w);
    }
    level_ = out;
    levelStride_ = outStride;
    levelWidth_ = w;
    levelHeight_ = h;
  }
}

bool Scaler::buildSparseLevel(const std::uint8_t* origin, int stride, int width, int height,
                              int count) {
  const int step = 1 << count;
  // Each box is centred where a full reduction's output pixel would be: step / 2 in.
  const int inset = step / 2 - 1;
  if (width < inset + 2 || height < inset + 2) return false;
  const int w = (width - inset - 2) / step + 1;
  const int h = (height - inset - 2) / step + 1;
  int outStride = 0;
  std::uint8_t* out = scratch(0, w, h, outStride);
  const std::uint8_t* first = origin + std::ptrdiff_t(inset) * stride + inset * 4;
  for (int y = 0; y < h; ++y) {
    fastestScaleKernels().boxEvery(first + std::ptrdiff_t(y) * step * stride, stride, step,
                       out + std::ptrdiff_t(y) * outStride, w);
  }
  level_ = out;
  levelStride_ = outStride;
  levelWidth_ = w;
  levelHeight_ = h;
  return true;
}

void Scaler::beginRow(int y) {
  if (!level_) return;
  const double v = std::clamp(v0_ + dv_ * y, 0.0, double(levelHeight_ - 1));
  int yi = int(v);
  int fraction = int(std::lround((v - yi) * 256));
  if (fraction >= 256) {
    ++yi;
    fraction = 0;
  }
  if (yi >= levelHeight_ - 1) {
    yi = levelHeight_ - 1;
    fraction = 0;
  }
  if (enlarging_) {
    // Rows are filtered horizontally once per level row and kept; each canvas row is then only
    // a blend of two kept rows.
    top_ = wideRowFor(yi);
    bottom_ = fraction == 0 ? top_ : wideRowFor(yi + 1);
    fraction_ = fraction;
    return;
  }
  loadLine(yi, fraction);
}

void Scaler::loadLine(int levelRow, int fraction) {
  std::uint8_t* line = line_.data() + linePadding * 4;
  const std::uint8_t* top = level_ + std::ptrdiff_t(levelRow) * levelStride_;
  if (fraction == 0) {
    std::memcpy(line, top, size_t(levelWidth_) * 4);
  } else {
    fastestScaleKernels().blendRows(line, top, top + levelStride_, levelWidth_ * 4, fraction);
  }
  for (int i = 1; i <= linePadding; ++i) {
    copyPixel(line - 4 * i, line);
    copyPixel(line + 4 * (levelWidth_ - 1 + i), line + 4 * (levelWidth_ - 1));
  }
}

const std::uint8_t* Scaler::wideRowFor(int levelRow) {
  for (int slot = 0; slot < 2; ++slot) {
    if (wideRow_[slot] == levelRow) return wide_.data() + size_t(slot) * size_t(clip_.width) * 4;
  }
  // Replace the kept row that is not the other one in use: rows only move downwards.
  const int slot = wideRow_[0] < wideRow_[1] ? 0 : 1;
  std::uint8_t* out = wide_.data() + size_t(slot) * size_t(clip_.width) * 4;
  loadLine(levelRow, 0);
  filterLine(clip_.x, clip_.right(), out);
  wideRow_[slot] = levelRow;
  return out;
}

void Scaler::columns(int x0, int x1, std::uint8_t* out) const {
  if (!level_ || x1 <= x0) return;
  if (!enlarging_) {
    filterLine(x0, x1, out);
    return;
  }
  x0 = std::max(x0, clip_.x);
  x1 = std::min(x1, clip_.right());
  if (x1 <= x0) return;
  const std::uint8_t* top = top_ + 4 * (x0 - clip_.x);
  if (fraction_ == 0) {
    std::memcpy(out, top, size_t(x1 - x0) * 4);
  } else {
    fastestScaleKernels().blendRows(out, top, bottom_ + 4 * (x0 - clip_.x), (x1 - x0) * 4, fraction_);
  }
}

void Scaler::filterLine(int x0, int x1, std::uint8_t* out) const {
  const std::uint8_t* line = line_.data() + linePadding * 4;
  const double last = levelWidth_ - 1;
  // Columns whose sample lies inside the level; the rest repeat the edge pixels.
  double first = x0;
  double end = x1;
  if (du_ > 0) {
    first = std::ceil((0 - u0_) / du_);
    end = std::floor((last - u0_) / du_) + 1;
  } else if (du_ < 0) {
    first = std::ceil((last - u0_) / du_);
    end = std::floor((0 - u0_) / du_) + 1;
  }
  const int inside0 = int(std::clamp(first, double(x0), double(x1)));
  int inside1 = int(std::clamp(end, double(x0), double(x1)));
  inside1 = std::max(inside1, inside0);
  const std::uint8_t* before = du_ >= 0 ? line : line + 4 * (levelWidth_ - 1);
  const std::uint8_t* after = du_ >= 0 ? line + 4 * (levelWidth_ - 1) : line;
  for (int x = x0; x < std::min(inside0, x1); ++x) copyPixel(out + 4 * (x - x0), before);
  if (inside1 > inside0) {
    const int fixed = int(std::lround((u0_ + du_ * inside0) * 65536.0));
    const int step = int(std::lround(du_ * 65536.0));
    fastestScaleKernels().filterColumns(out + 4 * (inside0 - x0), line, inside1 - inside0, fixed,
                                        step);
  }
  for (int x = std::max(inside1, x0); x < x1; ++x) copyPixel(out + 4 * (x - x0), after);
}

}  // namespace vorn
