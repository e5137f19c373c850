// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Takes.h"

#include "base/OwnFiles.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <filesystem>

namespace vorn::Takes {

QString folderPath() {
  const QString movies = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
  return QDir(movies).filePath(QStringLiteral("Vorn"));
}

QUrl folder() {
  const QString path = folderPath();
  std::filesystem::create_directories(path.toStdString());  // throws with the system's reason
  return QUrl::fromLocalFile(path);
}

QUrl nextURL() {
  const QString stamp =
      QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd 'at' HH.mm.ss"));
  const QDir dir(folder().toLocalFile());
  for (int number = 1;; ++number) {
    const QString suffix = number == 1 ? QString() : QStringLiteral(" %1").arg(number);
    const QString name = QStringLiteral("Vorn ") + stamp + suffix + QStringLiteral(".mp4");
    const auto taken = [&](const QString& file) {
      return OwnFiles::taken(QFile::encodeName(dir.filePath(file)).toStdString());
    };
    if (!taken(name) && !taken(fragmentPrefix + name))
      return QUrl::fromLocalFile(dir.filePath(name));
  }
}

}  // namespace vorn::Takes
