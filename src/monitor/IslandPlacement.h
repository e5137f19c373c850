// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>

#include <optional>

namespace vorn::IslandPlacement {

// Room left between the island and what it keeps out of.
inline constexpr int gap = 8;

// Where the island hangs: from the top of the usable area (below a top panel), centred, near
// where a laptop's camera sits. It keeps out of `frame` (the capture area, where the display
// server cannot leave Vorn's windows out of the take) and, where it can, out of `monitor`
// (the studio's own window, dragged under it): at the place nearest to the top centre above,
// below or beside them at the top. With no place clear of the frame on the usable area, the
// top centre.
QRect place(const QRect& usable, QSize size, const std::optional<QRectF>& frame,
            const std::optional<QRect>& monitor = std::nullopt);

}  // namespace vorn::IslandPlacement
