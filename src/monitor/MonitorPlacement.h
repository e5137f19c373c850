// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>

#include <optional>

namespace vorn::MonitorPlacement {

inline constexpr QSize fullSize{360, 860};
inline constexpr QSize compactSize{250, 68};

// The full window's size on a screen whose usable area is `visible`: `fullSize`, or as tall as
// the area where that is shorter (the phone in it shrinks).
QSize fullSizeOn(const QRect& visible);

// Where the full monitor opens on a screen whose usable area is `visible`: where the user
// last left it while that still lies on the screen (kept on it when the size changed; with
// `keepOff`, also off `avoid`), else at the side away from `avoid` (the capture frame),
// vertically centred.
QRect full(const std::optional<QRect>& placed, const QRect& visible, const QRectF& avoid,
           bool keepOff = false);

// The window's next rectangle when it turns compact (or full again) from `current`: the bar
// keeps the window's centre line and sits 24 points below the phone window's top; full again
// goes back to `placed` when that still lies on the screen. Always inside `visible`.
QRect form(bool compact, const QRect& current, const std::optional<QRect>& placed, const QRect& visible);

}  // namespace vorn::MonitorPlacement
