// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Model.h"
#include "model/Settings.h"
#include "model/Studio.h"
#include "reels/ReelMaker.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

#include <signal.h>

#include <functional>
#include <memory>

namespace vorn::test {

// A stand-in reel engine: a shell script at $VORN_CUT_PATH that records its arguments in
// "<take>.args" and its pid in "<take>.pid", then runs the take's own script
// "<take>.engine" in its place (same process), so each take can behave differently.
class FakeEngine {
 public:
  FakeEngine() {
    const QString path = dir_.filePath(QStringLiteral("vorncut"));
    write(path,
          "#!/bin/sh\n"
          "printf '%s\\n' \"$@\" > \"$2.args\"\n"
          "echo $$ > \"$2.pid\"\n"
          "exec /bin/sh \"$2.engine\" \"$@\"\n");
    QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
    qputenv("VORN_CUT_PATH", QFile::encodeName(path));
  }
  ~FakeEngine() { qunsetenv("VORN_CUT_PATH"); }

  // A take whose engine run executes `script` (/bin/sh; "$2" is the take's path).
  Take take(const QString& name, const QByteArray& script, double duration = 20) {
    const QString path = dir_.filePath(name + QStringLiteral(".mp4"));
    write(path + QStringLiteral(".engine"), script);
    return Take{QUrl::fromLocalFile(path), duration};
  }

  // What the run of `take` wrote beside it ("args", "pid", or anything its script writes).
  static QByteArray sidecar(const Take& take, const char* suffix) {
    QFile file(take.url.toLocalFile() + QLatin1Char('.') + QLatin1String(suffix));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
  }

  static QStringList arguments(const Take& take) {
    QStringList list = QString::fromUtf8(sidecar(take, "args")).split(QLatin1Char('\n'));
    if (!list.isEmpty() && list.last().isEmpty()) list.removeLast();
    return list;
  }

  static pid_t pid(const Take& take) { return sidecar(take, "pid").trimmed().toInt(); }

  QString path(const QString& name) const { return dir_.filePath(name); }

  static void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
  }

 private:
  QTemporaryDir dir_;
};

// Spins the event loop until `condition` holds; generous, since the machine may be busy.
inline bool eventually(const std::function<bool()>& condition) {
  return QTest::qWaitFor(condition, 20000);
}

// True when the process group `group` has stopped: some member is stopped ('T'), every other
// one has ended ('Z', not yet reaped by its stopped parent) or waits ('D') on a stopped
// member, as a shell does for a child it has vforked.
inline bool groupStopped(pid_t group) {
  bool anyStopped = false;
  const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
  for (const QString& entry : entries) {
    bool isPid = false;
    entry.toInt(&isPid);
    if (!isPid) continue;
    QFile stat(QStringLiteral("/proc/") + entry + QStringLiteral("/stat"));
    if (!stat.open(QIODevice::ReadOnly)) continue;
    const QByteArray text = stat.readAll();
    // After "pid (name) ": state, parent, process group.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 3 || fields[2].toInt() != group) continue;
    if (fields[0] == "T") {
      anyStopped = true;
    } else if (fields[0] != "D" && fields[0] != "Z") {
      return false;
    }
  }
  return anyStopped;
}

inline bool processGone(pid_t pid) { return ::kill(pid, 0) != 0; }

}  // namespace vorn::test
