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
