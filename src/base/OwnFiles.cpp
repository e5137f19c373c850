#include "base/OwnFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace vorn::OwnFiles {

int create(const std::string& path) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

bool taken(const std::string& path) {
  struct stat info;
  return ::lstat(path.c_str(), &info) == 0;
}

}  // namespace vorn::OwnFiles
