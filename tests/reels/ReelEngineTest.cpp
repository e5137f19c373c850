// SPDX-License-Identifier: GPL-3.0-or-later
// The reel engine's command line, names and places, checked through jobs made by a held
// reel maker (so the real layout geometry decides the camera) without running anything.
#include "model/ReelWork.h"
#include "reels/FakeEngine.h"

#include <QFileInfo>

#include <pwd.h>
#include <unistd.h>

namespace vorn {
namespace {

const QString kReel = QStringLiteral("/v/Reels/T · Reel.mp4");

class ReelEngineTest : public testing::Test {
 protected:
  void SetUp() override {
    userSettings().clear();
    studio = std::make_unique<Studio>();
    maker = std::make_unique<ReelMaker>(*studio);
    maker->pause();
  }

  // The job a held maker makes for one take under `prefs`.
  ReelJob jobFor(const Prefs& prefs, const QString& brief = {}) {
    studio->setPrefs(prefs);
    const Take take = engine.take(QStringLiteral("T%1").arg(++takes), "exit 0");
    maker->make(take, brief);
    return maker->job(take).value_or(ReelJob{});
  }

  QStringList argumentsFor(const Prefs& prefs, const QString& brief = {}) {
    const ReelJob job = jobFor(prefs, brief);
    QStringList list = ReelMaker::arguments(job, QStringLiteral("device"), kReel);
    list[1] = QStringLiteral("TAKE");
    return list;
  }

  test::FakeEngine engine;
  std::unique_ptr<Studio> studio;
  std::unique_ptr<ReelMaker> maker;
  int takes = 0;
};

const QStringList kBase{"promo", "TAKE", "--jsonl", "--brain", "device", "--out", kReel};

Prefs prefsWith(Layout layout, std::optional<FaceLook> face) {
  Prefs prefs;
  prefs.layout = layout;
  prefs.face = face;
  return prefs;
}

TEST_F(ReelEngineTest, screenLayoutWithoutCameraPassesNeitherFaceNorCamera) {
  Prefs prefs = prefsWith(Layout::screen, FaceLook::sculpted);
  prefs.cameraOn = false;
  const ReelJob job = jobFor(prefs);
  EXPECT_FALSE(job.camera.has_value());
  EXPECT_EQ(job.face, FaceLook::off);
  EXPECT_EQ(argumentsFor(prefs), kBase);
}

TEST_F(ReelEngineTest, screenLayoutBubblePassesFaceAndCameraWithFourDecimals) {
  Prefs prefs = prefsWith(Layout::screen, FaceLook::natural);
  prefs.bubbleX = 0.5;
  prefs.bubbleY = 0.5;
  prefs.bubbleSize = 0.25;  // 270 points: every fraction below is exact in binary
  const ReelJob job = jobFor(prefs);
  ASSERT_TRUE(job.camera.has_value());
  EXPECT_EQ(*job.camera, (Rect{0.375, 0.4296875, 0.25, 0.140625}));
  EXPECT_EQ(job.face, FaceLook::natural);
  EXPECT_EQ(argumentsFor(prefs, QStringLiteral("  --  two words \n")),
            (kBase + QStringList{"--theme=two words", "--face=natural",
                                "--camera=0.3750,0.4297,0.2500,0.1406"}));
}

TEST_F(ReelEngineTest, splitLayoutPassesTheLowerPaneAsCamera) {
  Prefs prefs = prefsWith(Layout::split, FaceLook::sculpted);
  prefs.style = FrameStyle::bleed;
  prefs.splitRatio = 0.5;
  EXPECT_EQ(argumentsFor(prefs, QStringLiteral("Hook first")),
            (kBase + QStringList{"--theme=Hook first", "--face=sculpted",
                                "--camera=0.0000,0.5000,1.0000,0.5000"}));
}

TEST_F(ReelEngineTest, meLayoutPassesTheWholeFrameOnlyWithAFaceLook) {
  EXPECT_EQ(argumentsFor(prefsWith(Layout::me, FaceLook::sculpted)),
            (kBase + QStringList{"--face=sculpted", "--camera=0.0000,0.0000,1.0000,1.0000"}));
  EXPECT_EQ(argumentsFor(prefsWith(Layout::me, FaceLook::off)), kBase);
  const ReelJob unset = jobFor(prefsWith(Layout::me, std::nullopt));
  EXPECT_EQ(unset.face, FaceLook::off);
  EXPECT_TRUE(unset.camera.has_value()) << "the camera is kept; only the face look is off";
  EXPECT_EQ(ReelMaker::arguments(unset, QStringLiteral("device"), kReel).size(), 7);
}

TEST_F(ReelEngineTest, themeIsCleanedOfBlanksAndLeadingHyphens) {
  EXPECT_EQ(ReelMaker::cleanTheme(QStringLiteral("  --  two words\n")), "two words");
  EXPECT_EQ(ReelMaker::cleanTheme(QString()), "");
  EXPECT_EQ(ReelMaker::cleanTheme(QStringLiteral("--word")), "word");
  EXPECT_EQ(ReelMaker::cleanTheme(QStringLiteral("-- a -b -")), "a -b -");
  EXPECT_EQ(ReelMaker::cleanTheme(QStringLiteral(" \n\t-- x \t")), "x");
  EXPECT_EQ(ReelMaker::cleanTheme(QStringLiteral("---")), "");
  EXPECT_EQ(ReelMaker::cleanTheme(QStringLiteral("a\nb")), "a\nb");
  EXPECT_EQ(jobFor(Prefs{}, QStringLiteral("   ")).theme, "");
}

TEST_F(ReelEngineTest, theStoryWriterIsClaudeOnlyWhenAllowedAndInstalled) {
  Prefs prefs;
  EXPECT_EQ(ReelMaker::storyWriter(prefs), "device") << "an unset preference counts as off";
  prefs.claude = false;
  EXPECT_EQ(ReelMaker::storyWriter(prefs), "device");
  prefs.claude = true;
  if (ReelMaker::claudeInstalled()) GTEST_SKIP() << "claude is installed on this machine";
  EXPECT_EQ(ReelMaker::storyWriter(prefs), "device");
}

TEST_F(ReelEngineTest, claudeIsLookedForInTheThreePlacesFromTheLoginName) {
  const passwd* entry = getpwuid(getuid());
  ASSERT_NE(entry, nullptr);
  const QByteArray home = qgetenv("HOME");
  qputenv("HOME", "/nowhere");
  const QStringList places = ReelMaker::claudePlaces();
  qputenv("HOME", home);
  EXPECT_EQ(places,
            QStringList({QStringLiteral("/home/") + QString::fromLocal8Bit(entry->pw_name) +
                             "/.local/bin/claude",
                         "/home/linuxbrew/.linuxbrew/bin/claude", "/usr/local/bin/claude"}));
}

TEST_F(ReelEngineTest, reelNamesAndCompanionFilesFollowTheTake) {
  const QString reel = ReelMaker::reelPath(QUrl::fromLocalFile("/x/Vorn 2026-11-22 at 01.02.03.mp4"));
  EXPECT_EQ(reel, ReelMaker::folder() + "/Vorn 2026-11-22 at 01.02.03 \u00B7 Reel.mp4");
  EXPECT_TRUE(ReelMaker::folder().endsWith("/Vorn/Reels"));
  EXPECT_EQ(ReelMaker::files("/r/Take \u00B7 Reel.mp4"),
            QStringList({"/r/Take \u00B7 Reel.mp4", "/r/Take \u00B7 Reel.cover.jpg",
                         "/r/Take \u00B7 Reel.caption.txt", "/r/.Take \u00B7 Reel.mp4.picture.mp4"}));
  // The work folder is cache, one per reel path.
  const QString work = reelWorkFolder("/r/Take \u00B7 Reel.mp4");
  EXPECT_TRUE(work.startsWith(qEnvironmentVariable("XDG_CACHE_HOME") + "/vorn/reels/Take \u00B7 Reel-"));
  EXPECT_NE(work, reelWorkFolder("/s/Take \u00B7 Reel.mp4"));
}

TEST_F(ReelEngineTest, theEngineIsFoundOnlyWhenExecutable) {
  ASSERT_TRUE(ReelMaker::isAvailable());
  const QString plain = engine.path(QStringLiteral("not-executable"));
  test::FakeEngine::write(plain, "#!/bin/sh\n");
  qputenv("VORN_CUT_PATH", QFile::encodeName(plain));
  EXPECT_FALSE(ReelMaker::helper().has_value());
  qputenv("VORN_CUT_PATH", QFile::encodeName(engine.path(QString())));
  EXPECT_FALSE(ReelMaker::helper().has_value()) << "a folder is no engine";
  qunsetenv("VORN_CUT_PATH");
  EXPECT_FALSE(ReelMaker::isAvailable());
  const Take take{QUrl::fromLocalFile("/x/y.mp4"), 30};
  maker->make(take, {});
  EXPECT_FALSE(maker->job(take).has_value()) << "no engine, no job";
}

}  // namespace
}  // namespace vorn
