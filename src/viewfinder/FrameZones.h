// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "viewfinder/FrameState.h"

#include <QRectF>

#include <optional>

namespace vorn {

// Where the grip and the chip sit: in a band above the region; below it where the screen's top
// (or a desktop panel there) leaves no room above; inside its top edge for a frame as tall as
// the free screen (only drawn while framing, so never in a take).
enum class ChipPlace { above, below, inside };

// Where things sit in the frame panel and what a point there means. The capture region lies
// at (margin, top) in the panel when the chip is above it, else at (margin, margin).
struct FrameZones {
  static constexpr double margin = 26;     // left, right and below the region
  static constexpr double top = 52;        // above the region
  static constexpr double cornerReach = 28;
  // The band along the region's edge that grabs the frame: this far outside and inside it.
  static constexpr double edgeOutside = 24, edgeInside = 8;
  static QRectF bandOuter(const QRectF& f) { return f.adjusted(-edgeOutside, -edgeOutside, edgeOutside, edgeOutside); }
  static QRectF bandInner(const QRectF& f) { return f.adjusted(edgeInside, edgeInside, -edgeInside, -edgeInside); }
  // The strip beside the chip: two 26-point buttons, their gaps and the margin.
  static constexpr double chipExtras = 64 + 4 + 26;

  enum class Kind { outside, body, spark, hide, corner };
  struct Zone {
    Kind kind = Kind::outside;
    int corner = -1;  // 0 top-left, 1 top-right, 2 bottom-left, 3 bottom-right
    bool operator==(const Zone&) const = default;
  };

  QSizeF regionSize;
  ChipPlace chipPlace = ChipPlace::above;
  QRectF sparkRect, hideRect;  // empty when the chip is not drawn

  QRectF region() const {
    return {margin, chipPlace == ChipPlace::above ? top : margin, regionSize.width(), regionSize.height()};
  }
  // The panel around the region `f` and its chip strip, both in the points `f` is in.
  static QRectF panel(const QRectF& f, ChipPlace place, double chipWidth);
  static QRectF chipStrip(const QRectF& f, ChipPlace place, double chipWidth);
  // The first corner (in the order above) within reach of `p`.
  std::optional<int> corner(QPointF p) const;
  Zone zone(QPointF p) const;
  // The hint for a zone; none outside.
  static std::optional<FrameHint> hint(const Zone& zone);
  // The first-run hint, until the user has moved the frame once.
  static FrameHint firstRunHint();
  // Every sentence the chip may show, to size it once.
  static std::vector<QString> chipTexts();
  // The countdown's circle in the region `r`: 0.42 of its shorter side across, in its middle,
  // or moved down (and shrunk if it must) to stay clear of what `covered` hides of it (the
  // island and the prompter over the frame's top).
  static QRectF countdownCircle(const QRectF& r, const QRegion& covered);
};

}  // namespace vorn
