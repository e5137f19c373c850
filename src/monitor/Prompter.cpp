#include "monitor/Prompter.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QTextDocument>
#include <QTextOption>

#include <algorithm>
#include <cmath>

namespace vorn {

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

void Prompter::paint(QPainter& p, const QRectF& area, const QString& script, double offset, double devicePixelRatio) {
  layOut(script, devicePixelRatio);
  // Drawn into a layer of its own first, so that fading its edges leaves what lies under the
  // prompter alone.
  const QSize pixels = (area.size() * devicePixelRatio).toSize();
  if (layer_.size() != pixels) {
    layer_ = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
    layer_.setDevicePixelRatio(devicePixelRatio);
  }
  layer_.fill(Qt::transparent);
  QPainter l(&layer_);
  l.setRenderHint(QPainter::Antialiasing);
  const QRectF box(QPointF(0, 0), area.size());
  QPainterPath rounded;
  rounded.addRoundedRect(box, 22, 22);
  l.fillPath(rounded, QColor(0, 0, 0, 200));
  l.setClipPath(rounded);
  // Fractional offsets are drawn filtered, so the script glides instead of stepping a pixel.
  l.setRenderHint(QPainter::SmoothPixmapTransform);
  l.drawImage(QPointF((box.width() - columnWidth) / 2, topMargin - offset), text_);
  // The edges fade out, so lines come and go softly.
  QLinearGradient fade(box.topLeft(), box.bottomLeft());
  const auto at = [&](double stop, double opacity) { fade.setColorAt(stop, QColor::fromRgbF(0, 0, 0, float(1 - opacity))); };
  at(0, 0.22), at(0.18, 0.72), at(0.32, 1), at(0.68, 1), at(0.82, 0.72), at(1, 0.22);
  l.setCompositionMode(QPainter::CompositionMode_DestinationOut);
  l.fillRect(box, fade);
  l.end();
  p.drawImage(area.topLeft(), layer_);
}

}  // namespace vorn
