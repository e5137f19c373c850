// SPDX-License-Identifier: GPL-3.0-or-later
// The studio's own reel maker running the real reel engine on a take it read from the
// prompter's script, in a layout with the camera and a face finish asked for.
#include "SpokenTake.h"

#include "cut/ScriptWords.h"
#include "model/Prefs.h"
#include "model/ReelWork.h"
#include "model/Settings.h"
#include "model/Studio.h"
#include "reels/ReelMaker.h"
#include "support/MovieProbe.h"

#include <QFileInfo>
#include <QTest>
#include <gtest/gtest.h>

#include <fstream>

namespace vorn {
namespace {

TEST(ReelMakerRunTest, theRealEngineTakesAJobToReadyWithAPlayableReel) {
  qputenv("VORN_CUT_PATH", VORN_BINARY_DIR "/vorncut");
  Prefs prefs;
  prefs.script = QString::fromStdString(test::spokenTake().script);
  prefs.layout = Layout::split;
  prefs.face = FaceLook::sculpted;
  prefs.save();
  Studio studio;
  ReelMaker maker(studio);
  QStringList toasts;
  maker.onToast = [&](const QString& text) { toasts.append(text); };
  const Take take{QUrl::fromLocalFile(QString::fromStdString(test::spokenTake().path)),
                  test::spokenTake().duration};
  maker.make(take, QStringLiteral("  -- good light  "));
  // The script is edited before the run begins: the job keeps the one the take was read from.
  prefs.script = QStringLiteral("A different script for the next take.");
  prefs.save();
  ASSERT_TRUE(maker.job(take));
  EXPECT_EQ(maker.job(take)->face, FaceLook::sculpted);
  EXPECT_TRUE(maker.job(take)->camera) << "so --face and --camera are passed";
  const bool settled = QTest::qWaitFor(
      [&] { return !maker.runningTake() && maker.job(take)->stage.isFinished(); }, 120000);
  ASSERT_TRUE(settled);
  const ReelJob job = *maker.job(take);
  ASSERT_EQ(job.stage, ReelStage::ready()) << job.stage.message.toStdString();
  ASSERT_TRUE(job.video);
  EXPECT_EQ(job.video->toLocalFile(), ReelMaker::reelPath(take.url));
  EXPECT_EQ(job.headline, QStringList({QStringLiteral("GOOD LIGHT")}));
  EXPECT_EQ(job.brain, "device");
  EXPECT_FALSE(job.caption.isEmpty());
  EXPECT_GT(job.duration, 5);
  EXPECT_EQ(test::probeStreams(job.video->toLocalFile()).size(), 2u);
  for (const QString& file : ReelMaker::files(job.video->toLocalFile()))
    EXPECT_TRUE(QFileInfo::exists(file)) << file.toStdString();
  std::ifstream heard((reelWorkFolder(job.video->toLocalFile()) + "/words.txt").toStdString());
  std::vector<std::string> words;
  for (std::string start, end, confidence, word; heard >> start >> end >> confidence >> word;)
    words.push_back(word);
  EXPECT_EQ(words, cut::scriptWords(test::spokenTake().script)) << "laid on the take's own script";
  EXPECT_EQ(toasts, QStringList({QStringLiteral("Your reel is ready")}));
  const QString script = reelScriptFile(job.video->toLocalFile());
  EXPECT_TRUE(QFileInfo::exists(script));
  bool trashed = false;
  QObject::connect(&maker, &ReelMaker::trashed, [&] { trashed = true; });
  maker.discard(take);
  ASSERT_TRUE(QTest::qWaitFor([&] { return trashed; }, 10000));
  EXPECT_FALSE(QFileInfo::exists(script)) << "it goes with the reel";
  qunsetenv("VORN_CUT_PATH");
}

}  // namespace
}  // namespace vorn
