// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Model.h"

#include <QRegion>
#include <QString>

#include <optional>
#include <vector>

namespace vorn {

struct Prefs;

// A hint the chip above the frame shows: a symbol and a sentence.
struct FrameHint {
  QString symbol;
  QString text;
  bool operator==(const FrameHint&) const = default;
};

// Everything the frame view draws, derived afresh every tick; the view repaints only when it
// changes.
struct FrameState {
  Phase phase = Phase::idle;
  bool paused = false;
  int countdown = 0;
  bool dragging = false;
  bool hover = false;
  double points = 0;  // how large 14-point screen text looks on the phone, in half points
  double pulse = 0;   // 0…1 in tenths: what is left of the suggestion's pulse
  std::optional<std::vector<double>> safe;  // the platform's safe fractions: top, bottom, right
  std::optional<double> ideal;              // ideal height ÷ current height, while dragging
  std::optional<FrameHint> hint;
  bool gripHot = false;
  // Without a compositor the band can only take the mouse where it is drawn: it shows while
  // the pointer is in it, inside the region too unless the take would see it there.
  bool rail = false;
  bool railInside = false;
  // While counting down: what the studio's windows hide of the panel, in its points.
  QRegion covered;
  bool operator==(const FrameState&) const = default;
};

namespace FrameReadout {

// 14-point text on the screen, scaled into the output frame and measured on a phone 402 points
// wide, to the nearest half point; 0 without a live width.
double points(double liveWidth, double screenSlotWidth);
// The chip's sentence for `points`: "Text N pt on phone  ·  Verdict".
QString readability(double points);
enum class Verdict { crisp, readable, tooSmall };
Verdict verdict(double points);
// What remains of a pulse that ends at `pulseUntil`, in tenths.
double pulse(double pulseUntil, double now);
// The safe-area guides of the platform, for a bleeding screen layout only.
std::optional<std::vector<double>> safeFractions(const Prefs& prefs);
// The ideal height's ratio to the live height, to a hundredth; none without a live height.
std::optional<double> idealRatio(double idealHeight, double liveHeight);

}  // namespace FrameReadout
}  // namespace vorn
