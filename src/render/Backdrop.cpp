#include "render/Backdrop.h"

#include "render/Blur.h"

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

constexpr int shrinkFactor = 12;
constexpr double blurSigma = 5;
constexpr double saturation = 1.5;
constexpr double brightness = -0.06;
constexpr double dimAlpha = 0.5;
constexpr double gradientAlpha = 0.45;    // black at the bottom edge
constexpr double gradientReach = 0.4;     // share of the canvas height it fades over

std::uint8_t toByte(float unit) { return std::uint8_t(std::clamp(unit, 0.0f, 1.0f) * 255.0f + 0.5f); }

}  // namespace

bool Backdrop::build(const FrameBuffer& source, const Rect& region, bool mirror, int canvasWidth,
                     int canvasHeight) {
  const int width = canvasWidth / shrinkFactor;
  const int height = canvasHeight / shrinkFactor;
  if (width < 1 || height < 1 || region.isEmpty()) return false;
  if (!small_ || small_->width() != width || small_->height() != height) {
    small_ = std::make_unique<FrameBuffer>(width, height);
    plane_.assign(size_t(width) * size_t(height) * 4, 0.0f);
  }
  // Aspect fill, as for a card: the overflow is cut equally on both sides.
  const double k = std::max(width / region.width, height / region.height);
  const Rect target{width * 0.5 - k * region.width * 0.5, height * 0.5 - k * region.height * 0.5,
                    k * region.width, k * region.height};
  if (!shrinker_.prepare(source, region, target, {0, 0, width, height}, mirror)) return false;
  for (int y = 0; y < height; ++y) {
    shrinker_.beginRow(y);
    shrinker_.columns(0, width, small_->row(y));
  }
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* row = small_->row(y);
    float* out = plane_.data() + size_t(y) * size_t(width) * 4;
    for (int i = 0; i < width * 4; ++i) out[i] = row[i] * (1.0f / 255.0f);
  }
  gaussianBlur(plane_.data(), width, height, 4, blurSigma, BlurEdges::clamp, blurScratch_);
  grade(canvasHeight);
  return enlarge_.prepare(*small_, {0, 0, double(width), double(height)},
                          {0, 0, double(canvasWidth), double(canvasHeight)},
                          {0, 0, canvasWidth, canvasHeight}, false);
}

// Colour controls, then the dim and the bottom gradient, written back to the small picture.
void Backdrop::grade(int canvasHeight) {
  const int width = small_->width();
  const int height = small_->height();
  for (int y = 0; y < height; ++y) {
    // Both darkenings are black laid over the picture; their strength at this row's centre.
    const double centre = (y + 0.5) * canvasHeight / height;
    const double fromBottom = canvasHeight - centre;
    const double gradient =
        gradientAlpha * std::clamp(1.0 - fromBottom / (gradientReach * canvasHeight), 0.0, 1.0);
    const float keep = float((1 - dimAlpha) * (1 - gradient));
    const float* in = plane_.data() + size_t(y) * size_t(width) * 4;
    std::uint8_t* out = small_->row(y);
    for (int x = 0; x < width; ++x, in += 4, out += 4) {
      const float alpha = in[3];
      float b = 0, g = 0, r = 0;
      if (alpha > 0) {
        b = in[0] / alpha + float(brightness);
        g = in[1] / alpha + float(brightness);
        r = in[2] / alpha + float(brightness);
        const float luma = 0.2125f * r + 0.7154f * g + 0.0721f * b;
        b = std::clamp(luma + float(saturation) * (b - luma), 0.0f, 1.0f) * alpha;
        g = std::clamp(luma + float(saturation) * (g - luma), 0.0f, 1.0f) * alpha;
        r = std::clamp(luma + float(saturation) * (r - luma), 0.0f, 1.0f) * alpha;
      }
      out[0] = toByte(b * keep);
      out[1] = toByte(g * keep);
      out[2] = toByte(r * keep);
      out[3] = toByte(1 - (1 - alpha) * keep);
    }
  }
}

}  // namespace vorn
