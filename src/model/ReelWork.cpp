// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/ReelWork.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>

namespace vorn {

QString reelWorkFolder(const QString& reel) {
  QString cache = qEnvironmentVariable("XDG_CACHE_HOME");
  if (!QDir::isAbsolutePath(cache)) cache = QDir::homePath() + QStringLiteral("/.cache");
  const QByteArray digest = QCryptographicHash::hash(QFile::encodeName(reel), QCryptographicHash::Sha1).toHex();
  return cache + QStringLiteral("/vorn/reels/") + QFileInfo(reel).completeBaseName() + QLatin1Char('-') +
         QString::fromLatin1(digest.left(12));
}

QString reelScriptFile(const QString& reel) { return reelWorkFolder(reel) + QStringLiteral(".script.txt"); }

}  // namespace vorn
