// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/GhostUI.h"

#include "model/PlatformInsets.h"
#include "monitor/GhostGlyphs.h"
#include "model/Geometry.h"

#include <QCoreApplication>
#include <QLinearGradient>

namespace vorn {
namespace {

constexpr double kColumn = 1015;  // the centre of the right-hand button column
constexpr double kRowLeft = 40;

QColor white(double opacity = 1) { return QColor::fromRgbF(1, 1, 1, float(opacity)); }

void text(QPainter& p, const QString& s, QRectF box, double size, double opacity = 1,
          Qt::Alignment align = Qt::AlignLeft | Qt::AlignVCenter, QFont::Weight weight = QFont::DemiBold) {
  QFont font;
  font.setPixelSize(int(size));
  font.setWeight(weight);
  p.setFont(font);
  p.setPen(white(opacity));
  p.drawText(box, align, s);
}

// Text of `size` vertically centred on `y`, starting at `x`, `width` wide.
void line(QPainter& p, const QString& s, double x, double y, double width, double size, double opacity = 1,
          QFont::Weight weight = QFont::DemiBold) {
  text(p, s, QRectF(x, y - size, width, 2 * size), size, opacity, Qt::AlignLeft | Qt::AlignVCenter, weight);
}

void glyph(QPainter& p, Glyph g, QPointF at, double size, double opacity = 1) {
  p.setPen(white(opacity));
  paintGlyph(p, g, at, size);
}

// A button of the right-hand column: its glyph centred on `y` and its label under it.
void columnButton(QPainter& p, Glyph g, double y, double size, const QString& label) {
  glyph(p, g, {kColumn, y}, size);
  if (!label.isEmpty())
    text(p, label, QRectF(kColumn - 70, y + size / 2 + 4, 140, 32), 25, 1, Qt::AlignHCenter | Qt::AlignTop);
}

void avatar(QPainter& p, QPointF centre, double diameter, double opacity = 1) {
  p.setPen(Qt::NoPen);
  p.setBrush(white(0.35 * opacity));
  p.drawEllipse(centre, diameter / 2, diameter / 2);
  p.setBrush(white(0.8 * opacity));
  p.drawEllipse(centre - QPointF(0, diameter * 0.1), diameter * 0.18, diameter * 0.18);
  p.drawChord(QRectF(centre.x() - diameter * 0.3, centre.y() + diameter * 0.12, diameter * 0.6, diameter * 0.5), 0,
              180 * 16);
}

void pill(QPainter& p, const QString& label, QRectF box, double size, bool outlined) {
  p.setBrush(outlined ? Qt::NoBrush : QBrush(white()));
  p.setPen(outlined ? QPen(white(0.7), 2) : Qt::NoPen);
  p.drawRoundedRect(box, box.height() / 2, box.height() / 2);
  QFont font;
  font.setPixelSize(int(size));
  font.setWeight(QFont::DemiBold);
  p.setFont(font);
  p.setPen(outlined ? white() : QColor(0, 0, 0));
  p.drawText(box, Qt::AlignCenter, label);
}

// Behind the lower texts, from where the platform's interface begins.
void bottomScrim(QPainter& p, double bottomInset) {
  const double top = Geometry::canvasHeight - bottomInset;
  QLinearGradient ramp(0, top, 0, Geometry::canvasHeight);
  ramp.setColorAt(0, QColor(0, 0, 0, 0));
  ramp.setColorAt(1, QColor(0, 0, 0, 150));
  p.fillRect(QRectF(0, top, Geometry::canvasWidth, bottomInset), ramp);
}

void reels(QPainter& p) {
  line(p, QCoreApplication::translate("GhostUI", "Reels"), kRowLeft + 50, 120, 900, 46, 1, QFont::Bold);
  glyph(p, Glyph::camera, {kRowLeft + 50 + 900 - 30, 120}, 50);
  columnButton(p, Glyph::heart, 1245, 58, QStringLiteral("24.1K"));
  columnButton(p, Glyph::bubble, 1400, 54, QStringLiteral("312"));
  columnButton(p, Glyph::paperplane, 1555, 52, QStringLiteral("1,208"));
  glyph(p, Glyph::ellipsis, {kColumn, 1690}, 44);
  avatar(p, {88, 1650}, 72);
  line(p, QCoreApplication::translate("GhostUI", "yourname"), 140, 1650, 220, 31);
  pill(p, QCoreApplication::translate("GhostUI", "Follow"), QRectF(330, 1650 - 24, 120, 48), 26, true);
  line(p, QCoreApplication::translate("GhostUI", "Your caption, the first line or two…"),
       kRowLeft, 1745, 800, 29, 1, QFont::Normal);
  line(p, QCoreApplication::translate("GhostUI", "♫  yourname · Original audio"),
       kRowLeft, 1815, 800, 26, 0.85, QFont::Normal);
}

// The header's two tabs stand either side of the phone's camera island (up to 360 wide in the
// middle while recording), inside the platform's top margin.
void tiktok(QPainter& p) {
  text(p, QCoreApplication::translate("GhostUI", "Following"),
       QRectF(70, 66, 280, 50), 34, 0.7, Qt::AlignRight | Qt::AlignVCenter);
  text(p, QCoreApplication::translate("GhostUI", "For You"),
       QRectF(730, 66, 280, 50), 34, 1, Qt::AlignLeft | Qt::AlignVCenter, QFont::Bold);
  p.fillRect(QRectF(760, 118, 60, 5), white());
  glyph(p, Glyph::magnifier, {kColumn, 91}, 44);
  avatar(p, {kColumn, 1060}, 92);
  columnButton(p, Glyph::heartFill, 1215, 66, QStringLiteral("48.2K"));
  columnButton(p, Glyph::bubbleFill, 1375, 60, QStringLiteral("1,024"));
  columnButton(p, Glyph::bookmark, 1530, 56, QStringLiteral("5,114"));
  columnButton(p, Glyph::share, 1685, 58, QCoreApplication::translate("GhostUI", "Share"));
  glyph(p, Glyph::disc, {kColumn, 1830}, 70, 0.35);
  line(p, QCoreApplication::translate("GhostUI", "yourname"), kRowLeft, 1690, 900, 31, 1, QFont::Bold);
  line(p, QCoreApplication::translate("GhostUI", "Your caption, with a few #hashtags…"),
       kRowLeft, 1755, 800, 29, 1, QFont::Normal);
  line(p, QCoreApplication::translate("GhostUI", "♫  original sound – yourname"),
       kRowLeft, 1825, 800, 26, 0.85, QFont::Normal);
}

void shorts(QPainter& p) {
  glyph(p, Glyph::magnifier, {kColumn - 110, 125}, 46);
  glyph(p, Glyph::ellipsis, {kColumn, 125}, 42);
  columnButton(p, Glyph::thumbUp, 1080, 56, QStringLiteral("12K"));
  columnButton(p, Glyph::thumbDown, 1240, 56, QCoreApplication::translate("GhostUI", "Dislike"));
  columnButton(p, Glyph::textBubble, 1400, 54, QStringLiteral("318"));
  columnButton(p, Glyph::turnArrow, 1560, 54, QCoreApplication::translate("GhostUI", "Share"));
  columnButton(p, Glyph::remix, 1715, 50, QCoreApplication::translate("GhostUI", "Remix"));
  glyph(p, Glyph::disc, {kColumn, 1850}, 60, 0.35);
  avatar(p, {70, 1700}, 60);
  line(p, QCoreApplication::translate("GhostUI", "@yourname"), 115, 1700, 260, 30);
  pill(p, QCoreApplication::translate("GhostUI", "Subscribe"), QRectF(330, 1700 - 26, 160, 52), 26, false);
  line(p, QCoreApplication::translate("GhostUI", "Your title goes here"), kRowLeft, 1790, 800, 30);
}

}  // namespace

void paintGhostUI(QPainter& p, Platform platform, QSizeF size) {
  const std::optional<PlatformInsets> insets = platformInsets(platform);
  if (!insets || size.width() <= 0) return;
  p.save();
  p.setRenderHint(QPainter::Antialiasing);
  p.setRenderHint(QPainter::TextAntialiasing);
  p.scale(size.width() / Geometry::canvasWidth, size.width() / Geometry::canvasWidth);
  bottomScrim(p, insets->bottom);
  switch (platform) {
    case Platform::reels: reels(p); break;
    case Platform::tiktok: tiktok(p); break;
    case Platform::shorts: shorts(p); break;
    case Platform::none: break;
  }
  p.restore();
}

}  // namespace vorn
