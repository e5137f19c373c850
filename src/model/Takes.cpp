#include "model/Takes.h"

#include <QDateTime>
#include <QDir>
#include <QStandardPaths>

#include <filesystem>

namespace vorn::Takes {

QUrl folder() {
  const QString movies = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
  const QString path = QDir(movies).filePath(QStringLiteral("Vorn"));
  std::filesystem::create_directories(path.toStdString());  // throws with the system's reason
  return QUrl::fromLocalFile(path);
}

QUrl nextURL() {
  const QString stamp =
      QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd 'at' HH.mm.ss"));
  const QString name = QStringLiteral("Vorn ") + stamp + QStringLiteral(".mp4");
  return QUrl::fromLocalFile(QDir(folder().toLocalFile()).filePath(name));
}

}  // namespace vorn::Takes
