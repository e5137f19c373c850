#include "app/Icons.h"
#include "app/RecordCommand.h"
#include "base/Av.h"
#include "model/Studio.h"
#include "render/CompositorBenchmark.h"
#include "render/RenderSamples.h"

#include <QAction>
#include <QApplication>
#include <QMainWindow>
#include <QMenu>
#include <QSystemTrayIcon>

#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
  vorn::av::quietLogs();
  if (std::getenv("VORN_BENCH")) return vorn::runCompositorBenchmark(argc, argv);
  if (argc > 1 && std::strcmp(argv[1], "render-samples") == 0) return vorn::runRenderSamples(argc, argv);
  if (argc > 1 && std::strcmp(argv[1], "record") == 0) return vorn::runRecordCommand(argc, argv);
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Vorn"));
  QApplication::setOrganizationName(QStringLiteral("Vorn"));
  QApplication::setQuitOnLastWindowClosed(false);

  vorn::Studio& studio = vorn::Studio::shared();

  QMainWindow window;
  window.setWindowTitle(QStringLiteral("Vorn"));
  window.setWindowIcon(vorn::symbolIcon("rectangle.portrait.inset.filled"));
  window.resize(360, 640);

  QMenu menu;
  QAction* show = menu.addAction(QStringLiteral("Open Vorn"));
  menu.addSeparator();
  QAction* quit = menu.addAction(QStringLiteral("Quit Vorn"));
  quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
  QObject::connect(show, &QAction::triggered, &window, [&window] {
    window.show();
    window.raise();
  });
  QObject::connect(quit, &QAction::triggered, &app, &QApplication::quit);
  QObject::connect(&studio, &vorn::Studio::phaseChanged, &menu, [&] {
    show->setText(studio.phase() == vorn::Phase::idle ? QStringLiteral("Open Vorn")
                                                      : QStringLiteral("Show Vorn"));
  });

  QSystemTrayIcon tray(vorn::symbolIcon("rectangle.portrait.inset.filled"));
  tray.setToolTip(QStringLiteral("Vorn"));
  tray.setContextMenu(&menu);
  tray.show();

  window.show();
  return QApplication::exec();
}
