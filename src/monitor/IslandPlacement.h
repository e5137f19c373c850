// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>

#include <optional>

namespace vorn::IslandPlacement {

// Room left between the island and a frame it keeps out of.
inline constexpr int gap = 8;

// Where the island hangs: from the top of the usable area (below a top panel), centred, near
// where a laptop's camera sits. When it would cover `avoid` (the capture area, where the
// display server cannot leave Vorn's windows out of the take), the place outside it nearest
// to the top centre: above or below it, or beside it at the top. With no such place on the
// usable area, the top centre.
QRect place(const QRect& usable, QSize size, const std::optional<QRectF>& avoid);

}  // namespace vorn::IslandPlacement
