// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/Prompter.h"

#include "model/Prefs.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QTextDocument>
#include <QTextOption>

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

const QColor kBackground(0, 0, 0, 200);

// `image` moved down by `part` ÷ `parts` of a pixel: each row a blend of itself and the row
// above (premultiplied pixels blend channel by channel).
QImage lowered(const QImage& image, int part, int parts) {
  QImage out(image.size(), image.format());
  out.setDevicePixelRatio(image.devicePixelRatio());
  const int bytes = image.width() * 4;
  for (int y = 0; y < image.height(); ++y) {
    const uchar* here = image.constScanLine(y);
    const uchar* above = y > 0 ? image.constScanLine(y - 1) : nullptr;
    uchar* to = out.scanLine(y);
    for (int i = 0; i < bytes; ++i) to[i] = uchar((here[i] * (parts - part) + (above ? above[i] : 0) * part + parts / 2) / parts);
  }
  return out;
}

}  // namespace

double Prompter::offset(double elapsed, double speed, double nudge) {
  const double moving = std::max(0.0, elapsed - startDelay);
  return (std::isfinite(moving) ? moving : 0.0) * speed + nudge;
}

void Prompter::setUp(QTextDocument& document, const QString& whole) {
  const QString script = whole.left(Prefs::maxScriptLength);
  QFont font;
  font.setPixelSize(int(fontSize));
  font.setWeight(QFont::Medium);
  document.setDefaultFont(font);
  document.setDocumentMargin(0);
  document.setTextWidth(columnWidth);
  QTextOption option(Qt::AlignHCenter);
  option.setWrapMode(QTextOption::WordWrap);
  document.setDefaultTextOption(option);
  document.setDefaultStyleSheet(QStringLiteral("p { line-height: %1px; color: white; }").arg(fontSize + lineSpacing));
  document.setHtml(QStringLiteral("<p style=\"line-height:%1px\">").arg(fontSize + lineSpacing) +
                   script.toHtmlEscaped().replace(QLatin1Char('\n'), QStringLiteral("<br>")) + QStringLiteral("</p>"));
}

double Prompter::height(const QString& script) {
  QTextDocument document;
  setUp(document, script);
  return document.size().height();
}

void Prompter::layOut(const QString& script, double devicePixelRatio) {
  if (script == laidOut_ && devicePixelRatio == ratio_ && !text_[0].isNull()) return;
  laidOut_ = script;
  ratio_ = devicePixelRatio;
  QTextDocument document;
  setUp(document, script);
  const QSize size(int(std::ceil(columnWidth * ratio_)), int(std::ceil(document.size().height() * ratio_)) + 1);
  // The script is laid down four times, a quarter of a pixel lower each time: any offset is
  // then a plain copy of one of them at a whole pixel.
  QImage& whole = text_[0];
  whole = QImage(size, QImage::Format_ARGB32_Premultiplied);
  whole.setDevicePixelRatio(ratio_);
  whole.fill(Qt::transparent);
  QPainter painter(&whole);
  painter.setRenderHint(QPainter::TextAntialiasing);
  document.drawContents(&painter);
  painter.end();
  for (size_t phase = 1; phase < text_.size(); ++phase) text_[phase] = lowered(whole, int(phase), int(text_.size()));
}

void Prompter::prepare(const QRectF& area, double devicePixelRatio) {
  const QSize pixels = (area.size() * devicePixelRatio).toSize();
  if (background_.size() == pixels) return;
  const QRectF box(QPointF(0, 0), area.size());
  background_ = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
  background_.setDevicePixelRatio(devicePixelRatio);
  background_.fill(Qt::transparent);
  QPainter b(&background_);
  b.setRenderHint(QPainter::Antialiasing);
  QPainterPath rounded;
  rounded.addRoundedRect(box, 22, 22);
  b.fillPath(rounded, kBackground);
  // The edges: the background's own colour laid over the text, thinning towards the middle,
  // so lines come and go softly.
  const double band = 0.32 * box.height();
  for (const bool top : {true, false}) {
    QImage& shade = top ? topShade_ : bottomShade_;
    shade = QImage(QSize(pixels.width(), int(std::ceil(band * devicePixelRatio))), QImage::Format_ARGB32_Premultiplied);
    shade.setDevicePixelRatio(devicePixelRatio);
    shade.fill(Qt::transparent);
    QLinearGradient fade(0, top ? 0 : band, 0, top ? band : 0);
    const auto at = [&](double stop, double opacity) {
      QColor c = kBackground;
      c.setAlphaF(float(1 - opacity));
      fade.setColorAt(stop, c);
    };
    at(0, 0.22), at(0.18 / 0.32, 0.72), at(1, 1);
    QPainter s(&shade);
    s.setRenderHint(QPainter::Antialiasing);
    s.setClipPath(rounded.translated(0, top ? 0 : band - box.height()));  // the corners stay round
    s.fillRect(QRectF(0, 0, box.width(), band), fade);
  }
}

void Prompter::paint(QPainter& p, const QRectF& area, const QString& script, double offset, double devicePixelRatio) {
  layOut(script, devicePixelRatio);
  prepare(area, devicePixelRatio);
  p.drawImage(area.topLeft(), background_);
  p.save();
  p.setClipRect(area.adjusted(0, 4, 0, -4));
  // The offset in quarter device pixels: the whole pixels move the copy, the rest picks the
  // copy laid down that much lower.
  const long quarters = std::lround(offset * devicePixelRatio * double(text_.size()));
  const long pixels = long(std::ceil(double(quarters) / double(text_.size())));
  const QImage& phase = text_[size_t(pixels * long(text_.size()) - quarters)];
  const double top = std::round((area.top() + topMargin) * devicePixelRatio) - double(pixels);
  p.drawImage(QPointF(area.left() + (area.width() - columnWidth) / 2, top / devicePixelRatio), phase);
  p.restore();
  p.drawImage(area.topLeft(), topShade_);
  p.drawImage(QPointF(area.left(), area.bottom() - bottomShade_.height() / devicePixelRatio), bottomShade_);
}

}  // namespace vorn
