// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/CameraAccess.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace vorn {
namespace {

void makeNode(const QString& dir, const char* name, mode_t mode) {
  const std::string path = (dir + '/' + QString::fromLatin1(name)).toStdString();
  std::ofstream(path) << "";
  ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

// The answer as an unprivileged user sees it (root opens anything): asked in a child that
// gave up root, and written back through a pipe.
std::string problemAsNobody(const QString& dir) {
  int fds[2];
  if (pipe(fds) != 0) return "pipe failed";
  const pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    if (getuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
    const std::string answer = cameraProblem(dir.toStdString()).value_or(QStringLiteral("none")).toStdString();
    (void)!write(fds[1], answer.data(), answer.size());
    _exit(0);
  }
  close(fds[1]);
  std::string answer;
  char buffer[512];
  for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;) answer.append(buffer, size_t(n));
  close(fds[0]);
  waitpid(child, nullptr, 0);
  return answer;
}

TEST(CameraAccess, namesTheCauseTheUserCanFix) {
  QTemporaryDir devices;
  chmod(devices.path().toLocal8Bit().constData(), 0755);
  makeNode(devices.path(), "null", 0666);
  EXPECT_EQ(cameraProblem(devices.path().toStdString()),
            QStringLiteral("No camera is connected. Plug one in and Vorn picks it up."));

  makeNode(devices.path(), "video2", 0600);
  makeNode(devices.path(), "video10", 0600);
  const std::string refused = problemAsNobody(devices.path());
  EXPECT_NE(refused.find("Vorn may not open " + devices.path().toStdString() + "/video2."), std::string::npos)
      << "the first camera by number: " << refused;
  EXPECT_NE(refused.find("video group"), std::string::npos);

  makeNode(devices.path(), "video3", 0666);
  EXPECT_EQ(problemAsNobody(devices.path()), "none") << "one camera that opens is enough";
}

}  // namespace
}  // namespace vorn
