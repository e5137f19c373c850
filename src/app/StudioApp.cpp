// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/StudioApp.h"

#include "app/BackendChoice.h"
#include "app/RecordKey.h"
#include "app/RemoteStudio.h"
#include "app/StageWindow.h"
#include "app/StatusMenu.h"
#include "app/StopSignals.h"
#include "app/StudioNotices.h"
#include "app/StudioService.h"
#include "app/UpdateCheck.h"
#include "base/Clock.h"
#include "base/Log.h"
#include "engine/Engine.h"
#include "desktop/ScreenScaleWatch.h"
#include "model/Studio.h"
#include "controls/ControlDeck.h"
#include "desktop/OwnWindowMarker.h"
#include "controls/FaceMenu.h"
#include "monitor/IslandWindow.h"
#include "monitor/PhoneView.h"
#include "monitor/MonitorWindow.h"
#include "reels/ReelMaker.h"
#include "viewfinder/Viewfinder.h"

#include <QApplication>
#include <QIcon>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace vorn {
namespace {

// The phone's marks stand clear of its rounded corners, on its edge.
constexpr int kPhoneMarkInset = 40;

// VORN_AUTORECORD=SECONDS: a development aid that records one take of that length as soon as
// the first frame is composed, prints where it went and quits.
void autoRecord(Engine& engine, Studio& studio) {
  const double seconds = qEnvironmentVariable("VORN_AUTORECORD").toDouble();
  if (seconds <= 0) return;
  QObject::connect(&engine, &Engine::firstFrame, &engine, [&engine] { engine.recording().beginCountdown(); });
  QObject::connect(&studio, &Studio::phaseChanged, &engine, [&engine, &studio, seconds] {
    if (studio.phase() == Phase::recording)
      QTimer::singleShot(int(seconds * 1000), &engine.recording(), &RecordingControl::stop);
  });
  QObject::connect(&engine.recording(), &RecordingControl::takeFinished, &engine, [&studio] {
    if (const auto take = studio.take()) std::printf("take: %s\n", qPrintable(take->url.toLocalFile()));
    std::fflush(stdout);
    QCoreApplication::quit();
  });
}

}  // namespace

int runStudio(int argc, char** argv, StudioRequest request) {
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Vorn"));
  QApplication::setOrganizationName(QStringLiteral("Vorn"));
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setApplicationVersion(QStringLiteral(VORN_VERSION));
  // The launcher entry the desktop matches the windows with, and its icon from the icon
  // theme; the drawing built into the program where no theme has it (an uninstalled build).
  QGuiApplication::setDesktopFileName(QStringLiteral("vorn"));
  QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("vorn"), QIcon(QStringLiteral(":/vorn/vorn.svg"))));
  // Before anything that a second studio would fight over: the hot key, the camera.
  StudioService service;
  if (service.claim() == StudioService::Claim::taken) return askRunningStudio(request);
  // Before the engine: the keys and click watch it holds live on the desktop's connection.
  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  platform->openDesktop();
  // The desktop's sharing dialog, where the screen comes through one, before any window of
  // the studio shows: they would otherwise wait on the answer. The engine's own look then
  // shares again with the token kept.
  if (!platform->framingOnScreen()) platform->displays();
  // Before the first display is listed: its rectangle is in Qt's points.
  ScreenScaleWatch scales;

  Studio& studio = Studio::shared();
  // Before the first window is built: its texts name the key only where it may be had.
  studio.setRecordKeyHeld(bool(platform->desktopServices().grabKey));
  ReelMaker& reels = ReelMaker::shared();
  StudioWindows windows;
  auto monitor = std::make_unique<MonitorWindow>(studio);
  MonitorWindow* monitorWindow = monitor.get();
  windows.monitor = std::move(monitor);
  // Over the screen where windows can place themselves; else the board and the island's
  // content in a window of Vorn's own (it must outlive the engine that drives it).
  IslandWindow* islandWindow = nullptr;
  Viewfinder* viewfinderRef = nullptr;
  std::unique_ptr<StageWindow> stage;
  if (platform->framingOnScreen()) {
    auto island = std::make_unique<IslandWindow>(studio, platform->overlays());
    islandWindow = island.get();
    windows.island = std::move(island);
    auto viewfinder = std::make_unique<Viewfinder>(studio, platform->overlays());
    viewfinderRef = viewfinder.get();
    windows.viewfinder = std::move(viewfinder);
  } else {
    stage = std::make_unique<StageWindow>(studio);
    windows.viewfinder = stage->takeViewfinder();
    windows.island = stage->takeIsland();
    // A shared monitor shows them: the capture blanks what their marks enclose.
    markAsOwnWindow(monitorWindow, kPhoneMarkInset);
    markEveryOwnWindow();
  }
  Backends backends = platform->forEngine();
  const DesktopServices services = backends.desktop;
  Engine engine(studio, &reels, std::move(backends), std::move(windows));
  if (viewfinderRef) viewfinderRef->attach(engine);
  if (stage) stage->attach(engine);
  monitorWindow->attach(engine);
  monitorWindow->setDeck(new ControlDeck(studio, engine, nullptr));
  monitorWindow->phone()->setMenu(new FaceMenu(studio, monitorWindow));
  if (islandWindow) islandWindow->attach(engine);
  reels.onToast = [&engine](const QString& text) { engine.flash(text); };

  const std::shared_ptr<void> recordKey = grabRecordKey(services, engine);
  studio.setRecordKeyHeld(recordKey != nullptr);
  service.attach(engine, studio);
  QObject::connect(&service, &StudioService::quitRequested, &app, &QCoreApplication::quit);
  StudioNotices notices(studio, reels, *monitorWindow);

  StatusMenu menu(studio, engine, reels);
  menu.showInTray();
  std::unique_ptr<UpdateCheck> updates;
  if (const QUrl endpoint = UpdateCheck::endpoint(); !endpoint.isEmpty())
    updates = std::make_unique<UpdateCheck>(endpoint, QApplication::applicationVersion(),
                                            [&menu](const UpdateCheck::Release& release) {
                                              menu.offerUpdate(release.version, release.url);
                                            });
  QObject::connect(&menu, &StatusMenu::quitRequested, &app, &QCoreApplication::quit);
  // A tray menu's shortcut only works while the menu is open: the key window holds it too.
  monitorWindow->addAction(menu.quitAction());
  onStopSignals(&app, [] { QCoreApplication::quit(); });
  autoRecord(engine, studio);
  QObject::connect(&engine, &Engine::firstFrame, &engine, [] {
    debugLine("Vorn: first preview " + std::to_string(int(secondsSinceLaunch() * 1000)) +
              " ms after launch");
  }, Qt::SingleShotConnection);

  engine.recording().recoverInterruptedTakes();
  engine.showStudio();
  if (request == StudioRequest::toggle) service.Record();
  const int status = QApplication::exec();
  // Quitting while recording still saves the take.
  reels.shutdown();
  engine.closeAndWait();
  return status;
}

}  // namespace vorn
