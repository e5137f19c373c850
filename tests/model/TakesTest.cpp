// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Takes.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <gtest/gtest.h>

#include <filesystem>

namespace vorn {
namespace {

TEST(Takes, folderIsVornInsideMoviesAndIsCreated) {
  const QString movies = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
  ASSERT_TRUE(movies.startsWith(QDir::homePath())) << "tests run in a temporary home";
  QDir(movies).removeRecursively();

  const QUrl folder = Takes::folder();
  EXPECT_TRUE(folder.isLocalFile());
  EXPECT_EQ(QFileInfo(folder.toLocalFile()).fileName(), "Vorn");
  EXPECT_EQ(QFileInfo(folder.toLocalFile()).dir().absolutePath(), QDir(movies).absolutePath());
  EXPECT_TRUE(QFileInfo(folder.toLocalFile()).isDir());
  EXPECT_EQ(Takes::folder(), folder) << "an existing folder is fine";
}

TEST(Takes, nextURLIsNamedAfterTheCurrentSecond) {
  const QDateTime before = QDateTime::currentDateTime();
  const QString name = QFileInfo(Takes::nextURL().toLocalFile()).fileName();
  const QDateTime after = QDateTime::currentDateTime();
  ASSERT_TRUE(name.startsWith("Vorn ")) << name.toStdString();
  ASSERT_TRUE(name.endsWith(".mp4"));
  const QString stamp = name.mid(5, name.size() - 9);
  const QDateTime parsed = QDateTime::fromString(stamp, "yyyy-MM-dd 'at' HH.mm.ss");
  ASSERT_TRUE(parsed.isValid()) << stamp.toStdString();
  EXPECT_GE(parsed.toSecsSinceEpoch(), before.toSecsSinceEpoch());
  EXPECT_LE(parsed.toSecsSinceEpoch(), after.toSecsSinceEpoch());
}

TEST(Takes, takesStartedInTheSameSecondGetTheirOwnNames) {
  const QDir folder(Takes::folder().toLocalFile());
  // Retried when the clock's second turns between the calls.
  for (int attempt = 0; attempt < 5; ++attempt) {
    const QString first = Takes::nextURL().toLocalFile();
    const QString base = QFileInfo(first).completeBaseName();
    QFile(first).open(QIODevice::WriteOnly);
    const QString second = Takes::nextURL().toLocalFile();
    QFile(folder.filePath(".recording-" + QFileInfo(second).fileName())).open(QIODevice::WriteOnly);
    const QString third = Takes::nextURL().toLocalFile();
    if (!QFileInfo(third).fileName().startsWith(base)) continue;
    EXPECT_EQ(QFileInfo(second).fileName(), base + " 2.mp4");
    EXPECT_EQ(QFileInfo(third).fileName(), base + " 3.mp4") << "a take still being written holds its name";
    return;
  }
  FAIL() << "the clock turned a second on every attempt";
}

TEST(Takes, aFolderThatCannotBeCreatedRaisesTheError) {
  const QString movies = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
  QDir(movies).removeRecursively();
  QDir().mkpath(movies);
  QFile blocker(QDir(movies).filePath("Vorn"));
  ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));  // a file where the folder should be
  blocker.close();
  EXPECT_THROW(Takes::folder(), std::filesystem::filesystem_error);
  EXPECT_THROW(Takes::nextURL(), std::filesystem::filesystem_error);
  QFile::remove(blocker.fileName());
}

}  // namespace
}  // namespace vorn
