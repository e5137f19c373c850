// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <sys/stat.h>

namespace vorn {

QString settingsFileProblem() {
  const QString path = QDir(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation))
                           .filePath(QStringLiteral("Vorn/Vorn.conf"));
  struct stat info;
  if (::stat(QFile::encodeName(path).constData(), &info) != 0 || S_ISREG(info.st_mode)) return {};
  return QCoreApplication::translate("Settings", "The preferences file %1 isn't a regular file.").arg(path);
}

}  // namespace vorn
