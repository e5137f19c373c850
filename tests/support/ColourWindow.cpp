// SPDX-License-Identifier: GPL-3.0-or-later
// colour_window COLOUR [HZ]: another application's window, filling the screen in one colour
// (or, given HZ, turning between that colour and black HZ times a second), until it is ended.
// COLOUR may be LEFT,RIGHT: the window's left half in one colour, its right half in the other.
// colour_window glass FILE: turns between red and blue about four times a second, at random
// moments (so that every phase of the compositor's and the studio's clocks is met), and, as
// each new colour has gone to the compositor, appends "STEADY_NS red|blue" to FILE.
#include <QApplication>
#include <QHBoxLayout>
#include <QRandomGenerator>
#include <QTimer>
#include <QWidget>

#include <chrono>
#include <cstdio>

namespace {

int glass(const char* file) {
  std::FILE* log = std::fopen(file, "w");
  if (!log) return 1;
  QWidget window;
  window.setAutoFillBackground(true);
  window.showFullScreen();
  QTimer flip;
  flip.setSingleShot(true);
  bool red = false;
  QObject::connect(&flip, &QTimer::timeout, &window, [&] {
    flip.start(200 + QRandomGenerator::global()->bounded(100));
    red = !red;
    QPalette palette = window.palette();
    palette.setColor(QPalette::Window, red ? Qt::red : Qt::blue);
    window.setPalette(palette);
    window.repaint();  // paints and commits the surface before returning
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    std::fprintf(log, "%lld %s\n", static_cast<long long>(std::chrono::nanoseconds(now).count()), red ? "red" : "blue");
    std::fflush(log);
  });
  flip.start(250);
  const int code = QApplication::exec();
  std::fclose(log);
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  if (argc > 2 && QByteArray(argv[1]) == "glass") return glass(argv[2]);
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
