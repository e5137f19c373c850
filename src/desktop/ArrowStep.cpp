// SPDX-License-Identifier: GPL-3.0-or-later
#include "desktop/ArrowStep.h"

namespace vorn {
namespace {

constexpr double kSmallStep = 1, kBigStep = 10;

}  // namespace

std::optional<Point> arrowStep(int qtKey, Qt::KeyboardModifiers modifiers) {
  // Arrow keys report the keypad flag on some keyboards; it changes nothing here.
  const Qt::KeyboardModifiers held = modifiers & ~Qt::KeypadModifier;
  if (held != Qt::NoModifier && held != Qt::ShiftModifier) return std::nullopt;
  const double step = held == Qt::ShiftModifier ? kBigStep : kSmallStep;
  switch (qtKey) {
    case Qt::Key_Left: return Point{-step, 0};
    case Qt::Key_Right: return Point{step, 0};
    case Qt::Key_Up: return Point{0, -step};
    case Qt::Key_Down: return Point{0, step};
    default: return std::nullopt;
  }
}

}  // namespace vorn
