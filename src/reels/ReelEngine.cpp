// SPDX-License-Identifier: GPL-3.0-or-later
// The reel engine's side of the reel maker: where the engine is, whether `claude` is there,
// the command line of one run, the reel's files and the engine's diagnostic log.
#include "reels/ReelMaker.h"

#include "base/OwnFiles.h"

#include "model/Takes.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace vorn {
namespace {

// An oversized log is started anew at the start of a run rather than trimmed.
constexpr off_t kLogLimitBytes = 512000;

bool isExecutableFile(const QString& path) {
  const QFileInfo info(path);
  return info.isFile() && ::access(QFile::encodeName(path).constData(), X_OK) == 0;
}

// The user's login name from the account database, never from $HOME.
QString loginName() {
  if (const passwd* entry = getpwuid(getuid())) return QString::fromLocal8Bit(entry->pw_name);
  if (const char* name = getlogin()) return QString::fromLocal8Bit(name);
  return {};
}

}  // namespace

std::optional<QString> ReelMaker::helper() {
  const QDir beside(QCoreApplication::applicationDirPath());
  for (const QString& candidate :
       {beside.filePath(QStringLiteral("vorncut")),
        QDir::cleanPath(beside.filePath(QStringLiteral("../libexec/vorn/vorncut")))}) {
    if (isExecutableFile(candidate)) return candidate;
  }
  const QString fromEnvironment = qEnvironmentVariable("VORN_CUT_PATH");
  if (!fromEnvironment.isEmpty() && isExecutableFile(fromEnvironment)) return fromEnvironment;
  return std::nullopt;
}

bool ReelMaker::isAvailable() { return helper().has_value(); }

QStringList ReelMaker::claudePlaces() {
  return {QStringLiteral("/home/") + loginName() + QStringLiteral("/.local/bin/claude"),
          QStringLiteral("/home/linuxbrew/.linuxbrew/bin/claude"),
          QStringLiteral("/usr/local/bin/claude")};
}

bool ReelMaker::claudeInstalled() {
  for (const QString& place : claudePlaces())
    if (isExecutableFile(place)) return true;
  return false;
}

QString ReelMaker::storyWriter(const Prefs& prefs) {
  return prefs.claude.value_or(false) && claudeInstalled() ? QStringLiteral("claude")
                                                           : QStringLiteral("device");
}

QString ReelMaker::folder() {
  QString takes;
  try {
    takes = Takes::folder().toLocalFile();
  } catch (const std::filesystem::filesystem_error& error) {
    // The takes folder could not be made; the path is still the one it names.
    takes = QString::fromStdString(error.path1().string());
  }
  return QDir(takes).filePath(QStringLiteral("Reels"));
}

QString ReelMaker::reelPath(const QUrl& take) {
  const QString base = QFileInfo(take.toLocalFile()).completeBaseName();
  return folder() + QLatin1Char('/') + base + QStringLiteral(" \u00B7 Reel.mp4");
}

QStringList ReelMaker::files(const QString& reel) {
  const QFileInfo info(reel);
  const QDir dir = info.dir();
  const QString base = info.completeBaseName();
  const QString withoutExtension =
      info.suffix().isEmpty() ? reel : reel.left(reel.size() - info.suffix().size());
  return {reel, withoutExtension + QStringLiteral("cover.jpg"),
          dir.filePath(base + QStringLiteral(".caption.txt")),
          dir.filePath(QLatin1Char('.') + info.fileName() + QStringLiteral(".picture.mp4"))};
}

QString ReelMaker::logPath() {
  QString state = qEnvironmentVariable("XDG_STATE_HOME");
  if (!QDir::isAbsolutePath(state)) state = QDir::homePath() + QStringLiteral("/.local/state");
  return state + QStringLiteral("/vorn/engine.log");
}

UniqueFd ReelMaker::log() {
  const QString file = logPath();
  // The user's alone, like the state folder XDG asks for around it.
  OwnFiles::makePrivateFolder(QFileInfo(file).path());
  const QByteArray path = QFile::encodeName(file);
  struct stat status {};
  const bool fresh = ::lstat(path.constData(), &status) != 0 || status.st_size > kLogLimitBytes;
  // Never through a link planted under the name: the log then goes nowhere.
  UniqueFd fd(::open(path.constData(),
                     O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | (fresh ? O_TRUNC : 0), 0600));
  if (!fd.valid()) fd.reset(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  ::lseek(fd.get(), 0, SEEK_END);
  return fd;
}

QString ReelMaker::cleanTheme(const QString& theme) {
  QString cleaned = theme.trimmed();
  qsizetype hyphens = 0;
  while (hyphens < cleaned.size() && cleaned.at(hyphens) == QLatin1Char('-')) ++hyphens;
  cleaned.remove(0, hyphens);
  // The last trim spares line breaks, which the first one already took from the ends.
  qsizetype start = 0;
  qsizetype end = cleaned.size();
  const auto isBlank = [](QChar c) {
    return c == QLatin1Char('\t') || c.category() == QChar::Separator_Space;
  };
  while (start < end && isBlank(cleaned.at(start))) ++start;
  while (end > start && isBlank(cleaned.at(end - 1))) --end;
  return cleaned.mid(start, end - start);
}

QStringList ReelMaker::arguments(const Job& job, const QString& writer, const QString& reel) {
  QStringList list{QStringLiteral("promo"),   job.take.url.toLocalFile(), QStringLiteral("--jsonl"),
                   QStringLiteral("--brain"), writer,                     QStringLiteral("--out"),
                   reel};
  if (!job.theme.isEmpty()) list.append(QStringLiteral("--theme=") + job.theme);
  if (job.face != FaceLook::off && job.camera) {
    const Rect& c = *job.camera;
    list.append(QStringLiteral("--face=") + QString::fromLatin1(rawValue(job.face)));
    list.append(QString::asprintf("--camera=%.4f,%.4f,%.4f,%.4f", c.x, c.y, c.width, c.height));
  }
  return list;
}

}  // namespace vorn
