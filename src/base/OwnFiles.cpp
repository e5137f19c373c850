// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/OwnFiles.h"

#include <QDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorn::OwnFiles {

int create(const std::string& path) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

bool create(QFile& file, const std::string& path) {
  const int fd = create(path);
  if (fd < 0) return false;
  if (file.open(fd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle)) return true;
  ::close(fd);
  return false;
}

bool createFolder(const std::string& path) { return ::mkdir(path.c_str(), 0700) == 0; }

void makePrivateFolder(const QString& path) {
  if (QDir().mkpath(path))
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

bool taken(const std::string& path) {
  struct stat info;
  return ::lstat(path.c_str(), &info) == 0;
}

}  // namespace vorn::OwnFiles
