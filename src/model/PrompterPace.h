// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vorn::PrompterPace {

// The prompter scrolls in points a second; people read aloud in words a minute. Its column,
// 480 points of 21-point type on 28-point lines, holds about 8.3 words of ordinary speech a
// line in the desktop's sans-serif (DejaVu Sans), so a line passes every 8.3 words.
inline constexpr double lineHeight = 28;
inline constexpr double wordsPerLine = 8.3;

// An unhurried reading voice, and the slowest and fastest the script editor offers.
inline constexpr double speaking = 150;
inline constexpr double slowest = 60, fastest = 300;

constexpr double pointsPerSecond(double wordsPerMinute) { return wordsPerMinute / 60 * lineHeight / wordsPerLine; }
constexpr double wordsPerMinute(double pointsPerSecond) { return pointsPerSecond * 60 * wordsPerLine / lineHeight; }

}  // namespace vorn::PrompterPace
