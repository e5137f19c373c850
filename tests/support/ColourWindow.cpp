// SPDX-License-Identifier: GPL-3.0-or-later
// colour_window COLOUR [HZ]: another application's window, filling the screen in one colour
// (or, given HZ, turning between that colour and black HZ times a second), until it is ended.
#include <QApplication>
#include <QTimer>
#include <QWidget>

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  const QString colour = argc > 1 ? argv[1] : "#2e8b57";
  QWidget window;
  window.setStyleSheet(QStringLiteral("background: %1;").arg(colour));
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
