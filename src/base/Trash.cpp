// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Trash.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace vorn {

bool moveToTrash(const QString& path) {
  const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
  if (data.isEmpty() || !QDir().mkpath(data)) return false;
  return QFile::moveToTrash(path);
}

}  // namespace vorn
