// SPDX-License-Identifier: GPL-3.0-or-later
// colour_window COLOUR [HZ]: another application's window, filling the screen in one colour
// (or, given HZ, turning between that colour and black HZ times a second), until it is ended.
// COLOUR may be LEFT,RIGHT: the window's left half in one colour, its right half in the other.
#include <QApplication>
#include <QHBoxLayout>
#include <QTimer>
#include <QWidget>

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  const QStringList colours = QString(argc > 1 ? argv[1] : "#2e8b57").split(QLatin1Char(','));
  const QString colour = colours.front();
  QWidget window;
  window.setStyleSheet(QStringLiteral("background: %1;").arg(colour));
  if (colours.size() > 1) {
    auto* halves = new QHBoxLayout(&window);
    halves->setContentsMargins(0, 0, 0, 0);
    halves->setSpacing(0);
    halves->addStretch(1);
    auto* right = new QWidget;
    right->setStyleSheet(QStringLiteral("background: %1;").arg(colours[1]));
    halves->addWidget(right, 1);
  }
  window.showFullScreen();
  QTimer flip;
  if (argc > 2) {
    bool lit = true;
    QObject::connect(&flip, &QTimer::timeout, &window, [&] {
      lit = !lit;
      window.setStyleSheet(QStringLiteral("background: %1;").arg(lit ? colour : QStringLiteral("black")));
    });
    flip.setTimerType(Qt::PreciseTimer);
    flip.start(int(1000 / QString(argv[2]).toDouble()));
  }
  return app.exec();
}
