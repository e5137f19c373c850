// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/RecordCommand.h"

#include "app/BackendChoice.h"
#include "app/StopSignals.h"
#include "app/TakeMeter.h"
#include "capture/CameraSource.h"
#include "desktop/ScreenScaleWatch.h"
#include "engine/Engine.h"
#include "engine/HomeFrame.h"
#include "app/RecordOptions.h"
#include "model/Settings.h"
#include "model/Studio.h"
#include "model/Takes.h"
#include "record/AudioFlattener.h"
#include "record/Recorder.h"
#include "record/TakeFiles.h"
#include "model/Geometry.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace vorn {
namespace {

// How long a take waits for the camera's first picture, so that it does not open without it.
constexpr int kCameraWaitMs = 3000;

void say(const QString& line) {
  std::fputs(qPrintable(line + '\n'), stdout);
  std::fflush(stdout);
}

void complain(const QString& sentence) { std::fputs(qPrintable("vorn: " + sentence + '\n'), stderr); }

// Takes cut short by a crash, in the takes folder (if there is one: a run that fails creates
// none) and beside the take about to be written (its name stays free for it).
void recoverCrashedTakes(const std::optional<QString>& out) {
  if (out) {
    TakeFiles::recoverCrashedTakes(QFileInfo(*out).absolutePath(), *out);
    AudioFlattener::finishInterrupted(QFileInfo(*out).absolutePath());
  }
  if (QFileInfo(Takes::folderPath()).isDir()) {
    TakeFiles::recoverCrashedTakes(Takes::folderPath());
    AudioFlattener::finishInterrupted(Takes::folderPath());
  }
}

QString describe(const RecordOptions& options) {
  const Prefs& p = options.prefs;
  const QString length = options.seconds
                             ? QCoreApplication::translate("RecordCommand", "for %1 s").arg(*options.seconds)
                             : QCoreApplication::translate("RecordCommand", "until Ctrl+C");
  return QCoreApplication::translate("RecordCommand", "Recording %1 / %2 at %3 fps %4…")
      .arg(QString::fromLatin1(rawValue(p.layout).data()),
           QString::fromLatin1(rawValue(p.style).data()))
      .arg(p.fps)
      .arg(length);
}

// The display the options name, or the sentence that says why there is none.
QString checkDisplay(const RecordOptions& options, const BackendChoice& platform,
                     const std::vector<DisplayInfo>& displays) {
  if (displays.empty()) return platform.noDisplay();
  const size_t index = size_t(options.display.value_or(0));
  if (index >= displays.size())
    return QCoreApplication::translate("RecordCommand", "There is no display %1: this computer has %2.")
        .arg(index)
        .arg(displays.size());
  return {};
}

// The capture area the options ask for on `screen`, or the sentence that refuses it.
QString frameArea(const RecordOptions& options, Engine& engine) {
  if (!options.area) return {};
  const Size size{engine.screen().rect.width, engine.screen().rect.height};
  const Rect& area = *options.area;
  if (!Rect{0, 0, size.width, size.height}.contains(area))
    return QCoreApplication::translate("RecordCommand", "The area %1,%2,%3,%4 lies outside the %5 × %6 display.")
        .arg(area.x).arg(area.y).arg(area.width).arg(area.height).arg(size.width).arg(size.height);
  // An area of another shape is fitted to the layout about its centre, as the studio does.
  engine.setHome(HomeFrame::fitAspect(area, HomeFrame::aspect(options.prefs), size));
  return {};
}

// The backends a take from the terminal uses: of the desktop's services only the pointer and
// clicks, no keys.
Backends commandBackends(const BackendChoice& platform) {
  Backends backends = platform.forEngine();
  backends.desktop.grabKey = nullptr;
  backends.desktop.otherWindows = nullptr;
  return backends;
}

// Stops the take once it holds `seconds` of pictures: counted from its first picture, which
// a busy machine may grab a little after the take began.
void stopAfter(Engine& engine, double seconds) {
  auto* poll = new QTimer(&engine);
  QObject::connect(poll, &QTimer::timeout, &engine, [&engine, poll, seconds] {
    const std::shared_ptr<Recorder> recorder = engine.recording().recorder();
    if (!recorder || recorder->secondsSoFar() < seconds) return;
    poll->deleteLater();
    engine.recording().stop();
  });
  poll->start(5);
}

// Starts the take once the first frame is composed and the camera and the microphone, if
// chosen, have sent a picture and sound (or have been waited for long enough): a take never
// opens on a second of silence while the microphone's stream gets going.
void beginWhenReady(Engine& engine, Studio& studio) {
  auto* poll = new QTimer(&engine);
  auto firstFrame = std::make_shared<bool>(false);
  auto inputs = std::make_shared<bool>(false);
  QObject::connect(&engine, &Engine::firstFrame, poll, [firstFrame] { *firstFrame = true; });
  QObject::connect(&engine, &Engine::inputsConfigured, poll, [inputs] { *inputs = true; },
                   Qt::SingleShotConnection);
  const auto waitingSince = std::chrono::steady_clock::now();
  QObject::connect(poll, &QTimer::timeout, &engine, [&engine, &studio, poll, firstFrame, inputs, waitingSince] {
    if (!*firstFrame || !*inputs) return;
    const bool cameraReady = studio.activeCamera().isEmpty() || engine.cameraSource().latest.get().buffer ||
                             std::chrono::steady_clock::now() - waitingSince > std::chrono::milliseconds(kCameraWaitMs);
    const bool micReady = !engine.cameraSource().micStarting.get() ||
                          std::chrono::steady_clock::now() - waitingSince > std::chrono::milliseconds(kCameraWaitMs);
    if (!cameraReady || !micReady) return;
    poll->deleteLater();
    engine.recording().beginCountdown();
  });
  poll->start(16);
}

}  // namespace

int runRecordCommand(int argc, char** argv) {
  // On a display server the toolkit's screens say how its points, in which the studio keeps
  // the frame, map to the server's pixels. They are read once: the take then runs without the
  // toolkit's connection, which would end the process with the server, before the take is told.
  const std::unique_ptr<BackendChoice> platform = BackendChoice::choose();
  const std::vector<DisplayInfo> displays = platform->displays();
  const bool serverDisplay = platform->serverScreen() && !displays.empty();
  if (serverDisplay) {
    const QGuiApplication toolkit(argc, argv);
    ScreenScaleWatch::publish();
  }
  QCoreApplication app(argc, argv);
  QCoreApplication::setOrganizationName(QStringLiteral("Vorn"));
  QCoreApplication::setApplicationName(QStringLiteral("Vorn"));

  if (const QString problem = settingsFileProblem(); !problem.isEmpty()) {
    complain(problem);
    return 1;
  }
  Studio studio;
  studio.keepPrefsUnsaved();
  const ParsedRecordOptions parsed = parseRecordOptions(QCoreApplication::arguments().mid(2), studio.prefs());
  if (!parsed.error.isEmpty()) {
    complain(parsed.error);
    return 2;
  }
  const RecordOptions& options = parsed.options;
  if (options.help) {
    std::fputs(qPrintable(recordUsage()), stdout);
    return 0;
  }
  std::optional<QString> out;
  if (options.out) out = QFileInfo(*options.out).absoluteFilePath();
  recoverCrashedTakes(out);
  if (const QString refused = checkDisplay(options, *platform, displays); !refused.isEmpty()) {
    complain(refused);
    return 1;
  }
  studio.setPrefs(options.prefs);

  if (serverDisplay) platform->openDesktop();
  Engine engine(studio, nullptr, commandBackends(*platform), StudioWindows{});
  engine.recording().setCountdownStep(0);
  engine.recording().setTakeOptions({out, true});

  QString failure;
  QObject::connect(&engine, &Engine::recordingFailed, &app, [&](const QString& sentence) {
    if (failure.isEmpty()) failure = sentence;
    if (studio.phase() != Phase::recording && studio.phase() != Phase::finishing) QCoreApplication::quit();
  });
  QObject::connect(&studio, &Studio::toastChanged, &app, [&] {
    if (studio.toast() && failure.isEmpty()) complain(*studio.toast());
  });
  QObject::connect(&engine, &Engine::inputsConfigured, &app, [&] {
    if (options.prefs.cameraOn && Geometry::slots(options.prefs).camera && studio.activeCamera().isEmpty())
      complain(QCoreApplication::translate("RecordCommand", "No camera found: recording without the camera."));
  }, Qt::SingleShotConnection);
  TakeMeter meter(studio, stdout);
  QObject::connect(&studio, &Studio::phaseChanged, &app, [&] {
    if (studio.phase() == Phase::finishing) meter.finish();
    if (studio.phase() != Phase::recording) return;
    say(describe(options));
    meter.start(options.prefs.micOn);
    if (options.seconds) stopAfter(engine, *options.seconds);
  });
  QObject::connect(&engine.recording(), &RecordingControl::takeFinished, &app, &QCoreApplication::quit);
  onStopSignals(&app, [&] {
    if (studio.phase() == Phase::recording) return engine.recording().stop();
    if (studio.phase() != Phase::finishing) QCoreApplication::quit();
  });

  // The frame is placed, and the countdown waited for, once the session is open: its first
  // frame and its inputs may come at once.
  int refusal = 0;
  QObject::connect(&engine, &Engine::opened, &app, [&](bool ok) {
    const QString refused = ok ? frameArea(options, engine) : platform->noDisplay();
    if (refused.isEmpty()) return beginWhenReady(engine, studio);
    complain(refused);
    refusal = 1;
    QCoreApplication::quit();
  }, Qt::SingleShotConnection);
  engine.open(size_t(options.display.value_or(0)));
  QCoreApplication::exec();
  meter.finish();
  const std::optional<Take> take = studio.take();  // closing the session lets go of it
  engine.closeAndWait();
  if (refusal) return refusal;

  // A failure was said where it happened ("Vorn: …"), once.
  if (!take) {
    if (failure.isEmpty()) complain(QCoreApplication::translate("RecordCommand", "Nothing was recorded."));
    return 1;
  }
  say(QStringLiteral("take: %1").arg(take->url.toLocalFile()));
  say(QStringLiteral("duration: %1 s").arg(take->duration, 0, 'f', 2));
  say(QStringLiteral("dropped frames: %1").arg(engine.recording().lastDroppedFrames()));
  return failure.isEmpty() ? 0 : 1;
}

}  // namespace vorn
