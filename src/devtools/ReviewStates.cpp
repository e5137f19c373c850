// SPDX-License-Identifier: GPL-3.0-or-later
#include "devtools/ReviewStates.h"

#include "app/BackendChoice.h"
#include "app/StatusMenu.h"
#include "base/Log.h"
#include "devtools/ControlStates.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "devtools/IslandStates.h"
#include "devtools/MonitorStates.h"
#include "reels/ReelMaker.h"
#include "devtools/ViewfinderStates.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QPixmap>

#include <cstdio>

namespace vorn {
namespace {

struct Shots {
  QDir folder;
  int failures = 0;

  void save(const QString& name, const QImage& image) {
    const QString path = folder.filePath(name + QStringLiteral(".png"));
    if (image.isNull() || !image.save(path)) {
      logError(("could not write " + path).toStdString());
      ++failures;
      return;
    }
    std::printf("%s\n", qPrintable(path));
  }
};

const char* phaseName(Phase phase) {
  switch (phase) {
    case Phase::idle: return "idle";
    case Phase::framing: return "framing";
    case Phase::countdown: return "countdown";
    case Phase::recording: return "recording";
    case Phase::finishing: return "finishing";
    case Phase::review: return "review";
  }
  return "";
}

// The tray's menu beside its icon, as the desktop shows them.
QImage trayShot(StatusMenu& menu) {
  menu.menu().adjustSize();
  const QPixmap items = menu.menu().grab();
  const QPixmap icon = menu.icon().pixmap(32, 32);
  QImage shot(items.width() + 48, std::max(items.height(), 40), QImage::Format_ARGB32_Premultiplied);
  shot.fill(QColor(45, 45, 48));
  QPainter painter(&shot);
  painter.drawPixmap(8, 4, icon);
  painter.drawPixmap(48, 0, items);
  return shot;
}

}  // namespace

int runReviewStates(int argc, char** argv) {
  QString out = qEnvironmentVariable("VORN_UI_TEST");
  for (int i = 2; i + 1 < argc; ++i)
    if (QString::fromLocal8Bit(argv[i]) == QLatin1String("--out")) out = QString::fromLocal8Bit(argv[i + 1]);
  if (out.isEmpty()) {
    std::fputs("usage: vorn review-states --out DIR\n", stderr);
    return 2;
  }
  // Nothing is shown on screen: no display is needed.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  QApplication::setOrganizationName(QStringLiteral("Vorn"));
  QApplication::setApplicationName(QStringLiteral("Vorn"));
  if (!QDir().mkpath(out)) {
    logError(("could not create the folder " + out).toStdString());
    return 1;
  }
  Shots shots{QDir(out)};

  Studio studio;
  ReelMaker reels(studio);
  Engine engine(studio, &reels, BackendChoice::choose()->forEngine(), StudioWindows{});
  StatusMenu menu(studio, engine, reels);
  for (const Phase phase : {Phase::idle, Phase::framing, Phase::countdown, Phase::recording,
                            Phase::finishing, Phase::review}) {
    studio.setPhase(phase);
    shots.save(QStringLiteral("tray-") + phaseName(phase), trayShot(menu));
  }
  menu.offerUpdate(QStringLiteral("0.2.0"), QUrl(QStringLiteral("https://example.invalid/vorn")));
  shots.save(QStringLiteral("tray-update"), trayShot(menu));

  for (const auto& [name, shot] : monitorStates(studio)) shots.save(name, shot);
  for (const auto& [name, shot] : islandStates(studio)) shots.save(name, shot);
  for (const auto& [name, shot] : controlStates(engine, studio)) shots.save(name, shot);
  for (const auto& [name, shot] : viewfinderStates(engine, studio)) shots.save(name, shot);
  studio.setPhase(Phase::idle);
  return shots.failures == 0 ? 0 : 1;
}

}  // namespace vorn
