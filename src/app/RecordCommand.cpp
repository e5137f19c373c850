#include "app/RecordCommand.h"

#include "engine/RecordOptions.h"
#include "engine/RecordSession.h"
#include "model/Prefs.h"
#include "model/Takes.h"
#include "record/TakeFiles.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace vorn {
namespace {

int gSignalPipe[2] = {-1, -1};

void onSignal(int) {
  const char byte = 1;
  (void)!::write(gSignalPipe[1], &byte, 1);
}

// Ctrl+C and SIGTERM end the take cleanly instead of killing the process.
void catchStopSignals() {
  if (::pipe(gSignalPipe) != 0) return;
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

void say(const QString& line) {
  std::fputs(qPrintable(line + '\n'), stdout);
  std::fflush(stdout);
}

void complain(const QString& sentence) { std::fputs(qPrintable("vorn: " + sentence + '\n'), stderr); }

void recoverCrashedTakes() {
  try {
    TakeFiles::recoverCrashedTakes(Takes::folder().toLocalFile());
  } catch (const std::exception&) {
    // No takes folder: nothing to recover; the take itself reports the folder's problem.
  }
}

QString describe(const RecordOptions& options) {
  const Prefs& p = options.prefs;
  const QString length = options.seconds ? QStringLiteral("for %1 s").arg(*options.seconds)
                                         : QStringLiteral("until Ctrl+C");
  return QStringLiteral("Recording %1 / %2 at %3 fps %4…")
      .arg(QString::fromLatin1(rawValue(p.layout).data()),
           QString::fromLatin1(rawValue(p.style).data()))
      .arg(p.fps)
      .arg(length);
}

}  // namespace

int runRecordCommand(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QCoreApplication::setOrganizationName(QStringLiteral("Vorn"));
  QCoreApplication::setApplicationName(QStringLiteral("Vorn"));

  const ParsedRecordOptions parsed =
      parseRecordOptions(QCoreApplication::arguments().mid(2), Prefs::load());
  if (!parsed.error.isEmpty()) {
    complain(parsed.error);
    return 2;
  }
  if (parsed.options.help) {
    std::fputs(qPrintable(recordUsage()), stdout);
    return 0;
  }
  recoverCrashedTakes();
  catchStopSignals();

  RecordSession session(parsed.options);
  try {
    session.open();
    session.begin();
  } catch (const std::exception& error) {
    complain(QString::fromStdString(error.what()));
    return 1;
  }
  const qsizetype warned = session.warnings().size();
  for (const QString& warning : session.warnings()) complain(warning);
  say(describe(parsed.options));

  QSocketNotifier stopRequest(gSignalPipe[0], QSocketNotifier::Read);
  QObject::connect(&stopRequest, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
  QTimer clicks;
  QObject::connect(&clicks, &QTimer::timeout, &app, [&] {
    session.pollClicks();
    if (!session.failure.get().isEmpty()) QCoreApplication::quit();
  });
  clicks.start(16);
  if (parsed.options.seconds)
    QTimer::singleShot(int(*parsed.options.seconds * 1000), &app, &QCoreApplication::quit);
  QCoreApplication::exec();

  const RecordSession::Result result = session.finish();
  const QString stoppedEarly = session.failure.get();
  if (!stoppedEarly.isEmpty()) complain(stoppedEarly);
  if (result.duration <= 0) {
    complain(QStringLiteral("Nothing was recorded."));
    return 1;
  }
  for (const QString& warning : session.warnings().mid(warned)) complain(warning);
  say(QStringLiteral("take: %1").arg(result.path));
  say(QStringLiteral("duration: %1 s").arg(result.duration, 0, 'f', 2));
  say(QStringLiteral("dropped frames: %1").arg(result.droppedFrames));
  return stoppedEarly.isEmpty() ? 0 : 1;
}

}  // namespace vorn
