// SPDX-License-Identifier: GPL-3.0-or-later
#include "reels/PhoneShare.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

namespace vorn::PhoneShare {
namespace {

// kdeconnect-cli waits on its daemon; a daemon that never answers must not leave the user
// without any word.
constexpr int kToolTimeoutMilliseconds = 15000;

using Finished = std::function<void(bool succeeded, const QByteArray& output)>;

// Runs the tool without blocking the GUI thread; `then` runs exactly once.
void run(const QString& tool, const QStringList& arguments, QObject* context, Finished then) {
  auto* process = new QProcess(context);
  QObject::connect(process, &QProcess::finished, process,
                   [process, then](int code, QProcess::ExitStatus status) {
                     process->deleteLater();
                     then(status == QProcess::NormalExit && code == 0,
                          process->readAllStandardOutput());
                   });
  QObject::connect(process, &QProcess::errorOccurred, process,
                   [process, then](QProcess::ProcessError error) {
                     if (error != QProcess::FailedToStart) return;  // `finished` follows
                     process->deleteLater();
                     then(false, {});
                   });
  QTimer::singleShot(kToolTimeoutMilliseconds, process, [process] { process->kill(); });
  process->start(tool, arguments);
}

}  // namespace

void send(const QString& path, QObject* context, std::function<void(bool sent)> done) {
  const QString tool = QStandardPaths::findExecutable(QStringLiteral("kdeconnect-cli"));
  if (tool.isEmpty()) {
    done(false);
    return;
  }
  // "Available" devices are the paired ones that are reachable now.
  const QStringList list{QStringLiteral("--list-available"), QStringLiteral("--id-only")};
  run(tool, list, context, [tool, path, context, done](bool listed, const QByteArray& output) {
    const QString device = QString::fromUtf8(output).section(QLatin1Char('\n'), 0, 0).trimmed();
    if (!listed || device.isEmpty()) {
      done(false);
      return;
    }
    const QStringList share{QStringLiteral("--device"), device, QStringLiteral("--share"), path};
    run(tool, share, context, [done](bool shared, const QByteArray&) { done(shared); });
  });
}

}  // namespace vorn::PhoneShare
