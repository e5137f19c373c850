// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>

#include <array>
#include <QRectF>
#include <QString>

class QTextDocument;

namespace vorn {

// The teleprompter's script, laid out once and scrolled by a sub-pixel offset: painting it is
// one image copied at a whole pixel, whatever the script's length.
class Prompter {
 public:
  static constexpr double columnWidth = 480, fontSize = 21, lineSpacing = 7, topMargin = 30;
  static constexpr double startDelay = 0.8;  // seconds of recording before the script moves

  // How far the script has scrolled, in points, `elapsed` seconds into the recording (the
  // pause-aware time: the script holds still while paused).
  static double offset(double elapsed, double speed, double nudge);

  // The height of the script laid out in the prompter's column, in points.
  static double height(const QString& script);

  // Paints the script into `area` (the prompter's rounded rectangle), scrolled by `offset`.
  void paint(QPainter& p, const QRectF& area, const QString& script, double offset, double devicePixelRatio);

 private:
  static void setUp(QTextDocument& document, const QString& script);
  void layOut(const QString& script, double devicePixelRatio);
  void prepare(const QRectF& area, double devicePixelRatio);

  QString laidOut_;
  double ratio_ = 0;
  std::array<QImage, 4> text_;  // the script at four quarter-pixel steps
  QImage background_, topShade_, bottomShade_;  // drawn once for the prompter's size
};

}  // namespace vorn
