// SPDX-License-Identifier: GPL-3.0-or-later
#include "viewfinder/FrameZones.h"

#include <algorithm>
#include <cmath>

#include <QCoreApplication>

namespace vorn {

std::optional<int> FrameZones::corner(QPointF p) const {
  const QRectF r = region();
  const QPointF corners[] = {r.topLeft(), r.topRight(), r.bottomLeft(), r.bottomRight()};
  for (int i = 0; i < 4; ++i)
    if (std::hypot(p.x() - corners[i].x(), p.y() - corners[i].y()) < cornerReach) return i;
  return std::nullopt;
}

QRectF FrameZones::panel(const QRectF& f, ChipPlace place, double chipWidth) {
  const double width = std::max(f.width() + 2 * margin, chipWidth + chipExtras);
  const double above = place == ChipPlace::above ? top : margin;
  const double below = place == ChipPlace::below ? top : margin;
  return {f.x() - margin, f.y() - above, width, f.height() + above + below};
}

QRectF FrameZones::chipStrip(const QRectF& f, ChipPlace place, double chipWidth) {
  const double y = place == ChipPlace::above ? f.y() - top : place == ChipPlace::below ? f.bottom() : f.y();
  return {f.x() - margin, y, chipWidth + chipExtras, top};
}

FrameZones::Zone FrameZones::zone(QPointF p) const {
  if (sparkRect.contains(p)) return {Kind::spark};
  if (hideRect.contains(p)) return {Kind::hide};
  if (const auto c = corner(p)) return {Kind::corner, *c};
  if (region().adjusted(-margin, -top, margin, top).contains(p)) return {Kind::body};
  return {};
}

std::optional<FrameHint> FrameZones::hint(const Zone& zone) {
  const auto translated = [](const char* symbol, const char* text) {
    return FrameHint{QString::fromLatin1(symbol), QCoreApplication::translate("FrameView", text)};
  };
  switch (zone.kind) {
    case Kind::corner:
      return translated("arrow.up.left.and.arrow.down.right", QT_TRANSLATE_NOOP("FrameView", "Drag to resize"));
    case Kind::spark: return translated("sparkles", QT_TRANSLATE_NOOP("FrameView", "Find the action and frame it"));
    case Kind::hide: return translated("xmark", QT_TRANSLATE_NOOP("FrameView", "Close  ·  Ctrl+Shift+9 brings it back"));
    case Kind::body:
      return translated("arrow.up.and.down.and.arrow.left.and.right",
                  QT_TRANSLATE_NOOP("FrameView", "Drag to move  ·  double-click to fit"));
    case Kind::outside: return std::nullopt;
  }
  return std::nullopt;
}

FrameHint FrameZones::firstRunHint() {
  return {QStringLiteral("arrow.up.and.down.and.arrow.left.and.right"),
          QCoreApplication::translate("FrameView", "Drag the frame's edge to move it")};
}

std::vector<QString> FrameZones::chipTexts() {
  std::vector<QString> texts{FrameReadout::readability(88), FrameReadout::readability(9), firstRunHint().text};
  for (const Kind kind : {Kind::corner, Kind::spark, Kind::hide, Kind::body}) texts.push_back(hint({kind})->text);
  return texts;
}

QRectF FrameZones::countdownCircle(const QRectF& r, const QRegion& covered) {
  const double d = 0.42 * std::min(r.width(), r.height());
  const QRectF centred(r.center().x() - d / 2, r.center().y() - d / 2, d, d);
  if (!covered.intersects(centred.toAlignedRect())) return centred;
  // The lowest edge of what covers the circle's column, and the room left under it.
  const QRectF column(centred.left(), r.top(), d, r.height());
  double clear = r.top();
  for (const QRect& part : covered)
    if (QRectF(part).intersects(column)) clear = std::max(clear, QRectF(part).bottom());
  constexpr double gap = 8;
  const double room = r.bottom() - clear - 2 * gap;
  if (room < 0.5 * d) return centred;  // no room worth it: the middle, as before
  const double size = std::min(d, room);
  const double top = std::max(clear + gap, std::min(centred.top(), r.bottom() - gap - size));
  return {r.center().x() - size / 2, top, size, size};
}

}  // namespace vorn
