// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Trash.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdlib>

namespace vorn {
namespace {

// A home with no ~/.local/share yet (a fresh account): the file reaches the trash there and
// nothing appears in the working folder.
TEST(Trash, aFreshHomeGetsItsTrashAndTheWorkingFolderStaysClean) {
  QTemporaryDir home, work;
  const QString oldHome = qEnvironmentVariable("HOME"), oldData = qEnvironmentVariable("XDG_DATA_HOME");
  const QString oldWork = QDir::currentPath();
  qputenv("HOME", home.path().toUtf8());
  qunsetenv("XDG_DATA_HOME");
  QDir::setCurrent(work.path());
  const QString take = home.filePath("Take.mp4");
  QFile file(take);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.close();

  EXPECT_TRUE(moveToTrash(take));
  EXPECT_FALSE(QFile::exists(take));
  EXPECT_TRUE(QFile::exists(home.filePath(".local/share/Trash/files/Take.mp4")));
  EXPECT_TRUE(QDir(work.path()).isEmpty());

  QDir::setCurrent(oldWork);
  qputenv("HOME", oldHome.toUtf8());
  if (!oldData.isEmpty()) qputenv("XDG_DATA_HOME", oldData.toUtf8());
}

}  // namespace
}  // namespace vorn
