#include "monitor/Prompter.h"

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

}  // namespace

double Prompter::offset(double elapsed, double speed, double nudge) {
  const double moving = std::max(0.0, elapsed - startDelay);
  return (std::isfinite(moving) ? moving : 0.0) * speed + nudge;
}

double Prompter::textHeight() const { return ratio_ > 0 ? text_.height() / ratio_ : 0; }

void Prompter::layOut(const QString& script, double devicePixelRatio) {
  if (script == laidOut_ && devicePixelRatio == ratio_ && !text_.isNull()) return;
  laidOut_ = script;
  ratio_ = devicePixelRatio;
  QTextDocument document;
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
  const QSize size(int(std::ceil(columnWidth * ratio_)), int(std::ceil(document.size().height() * ratio_)) + 1);
  text_ = QImage(size, QImage::Format_ARGB32_Premultiplied);
  text_.setDevicePixelRatio(ratio_);
  text_.fill(Qt::transparent);
  QPainter painter(&text_);
  painter.setRenderHint(QPainter::TextAntialiasing);
  document.drawContents(&painter);
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
  // Fractional offsets are drawn filtered, so the script glides instead of stepping a pixel.
  p.setRenderHint(QPainter::SmoothPixmapTransform);
  p.drawImage(QPointF(area.left() + (area.width() - columnWidth) / 2, area.top() + topMargin - offset), text_);
  p.restore();
  p.drawImage(area.topLeft(), topShade_);
  p.drawImage(QPointF(area.left(), area.bottom() - bottomShade_.height() / devicePixelRatio), bottomShade_);
}

}  // namespace vorn
