// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Studio.h"
#include "monitor/IslandView.h"
#include "monitor/Prompter.h"

#include <QPainter>
#include <gtest/gtest.h>

namespace vorn {
namespace {

TEST(Prompter, theScriptWaitsThenScrollsAtItsPaceAndHoldsWhilePaused) {
  EXPECT_EQ(Prompter::offset(0, 30, 0), 0);
  EXPECT_EQ(Prompter::offset(0.8, 30, 0), 0) << "still for the first 0.8 s";
  EXPECT_DOUBLE_EQ(Prompter::offset(1.8, 30, 0), 30);
  EXPECT_DOUBLE_EQ(Prompter::offset(10.8, 45, -30), 450 - 30) << "a nudge moves it by its points";
  // 600 ticks at 60 Hz: ten seconds of recording move it ten seconds' worth, to the sub-pixel.
  double offset = 0;
  for (int tick = 0; tick <= 600; ++tick) offset = Prompter::offset(0.8 + tick / 60.0, 33, 0);
  EXPECT_NEAR(offset, 330, 1e-9);
  EXPECT_NEAR(Prompter::offset(0.8 + 1.0 / 60, 33, 0), 0.55, 1e-9) << "less than a point a tick";
}

// A script of a megabyte is laid out only as far as the prompter reads (it once froze the
// studio for seconds and took gigabytes).
TEST(Prompter, aHugeScriptIsLaidOutOnlyAsFarAsItIsRead) {
  const QString line = QStringLiteral("Say the point in the first three seconds.\n");
  const QString huge = line.repeated(1'000'000 / int(line.size()));
  EXPECT_EQ(Prompter::height(huge), Prompter::height(huge.left(Prefs::maxScriptLength)));
  EXPECT_LT(Prompter::height(huge.left(Prefs::maxScriptLength / 2)), Prompter::height(huge));
}

TEST(Prompter, itsDefaultPaceKeepsUpWithAReadingVoice) {
  // Three minutes of speech at 150 words a minute.
  const QString script = QStringLiteral(
      "Most of the work happens before you press record. Frame what matters, say the point in the first three "
      "seconds, and cut everything else. Today I want to show you how I plan a short video in five minutes, from "
      "the first idea to the last frame, with one simple rule that saves me an hour every single week. If this "
      "helps you, follow along, because next week I will show you how I edit the whole thing in under ten "
      "minutes. ").repeated(5).trimmed();
  const double words = double(script.split(QLatin1Char(' ')).size());
  const double seconds = Prompter::height(script) / Prefs().prompterSpeed;
  EXPECT_NEAR(words / seconds * 60, 150, 15) << "words a minute as the script scrolls by";
}

// The prompter drawn alone at `offset` into a 520 × 260 picture.
QImage prompterAt(Prompter& prompter, double offset) {
  QImage image(520, 260, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter p(&image);
  prompter.paint(p, QRectF(0, 0, 520, 260), QStringLiteral("Line after line of a script that wraps and wraps again, "
                                                            "long enough to fill the prompter twice over. ")
                                                 .repeated(6),
                 offset, 1.0);
  return image;
}

TEST(Prompter, wholePointsMoveTheScriptExactlyAndHalfPointsLandBetween) {
  Prompter prompter;
  const QImage at40 = prompterAt(prompter, 40), at41 = prompterAt(prompter, 41), at40half = prompterAt(prompter, 40.5);
  // In the middle band, clear of the fading edges, the script is all that moves.
  int shiftedEqual = 0, betweenDiffers = 0, rows = 0;
  for (int y = 100; y < 160; ++y, ++rows) {
    const auto row = [](const QImage& image, int y) { return QByteArray(reinterpret_cast<const char*>(image.constScanLine(y)), 520 * 4); };
    shiftedEqual += row(at41, y) == row(at40, y + 1);
    betweenDiffers += row(at40half, y) != row(at40, y) && row(at40half, y) != row(at41, y);
  }
  EXPECT_EQ(shiftedEqual, rows) << "a point more moves every row up by one pixel";
  EXPECT_GT(betweenDiffers, rows / 4) << "half a point is neither of its neighbours";
}

TEST(LevelBars, restAtAFifthBelowAFifthAndNeverUnderThreePoints) {
  struct Case {
    double level;
    bool active;
    std::array<double, 5> heights;
  };
  for (const Case& c : std::initializer_list<Case>{
           {1.0, true, {6.3, 11.2, 14, 9.8, 7}},
           {0.5, true, {3.15, 5.6, 7, 4.9, 3.5}},
           {0.19, true, {3, 3, 3, 3, 3}},          // resting: 0.2 × H, at least 3
           {0.9, false, {3, 3, 3, 3, 3}},          // inactive rests whatever the level
           {2.0, true, {6.3, 11.2, 14, 9.8, 7}}})  // a level over 1 is full
    for (size_t i = 0; i < 5; ++i)
      EXPECT_NEAR(levelBarHeights(c.level, c.active)[i], c.heights[i], 1e-9) << c.level << " bar " << i;
}

TEST(IslandView, showsThePhaseAndRepaintsOnlyWhatChanged) {
  Studio studio;
  studio.updatePrefs([](Prefs& p) { p.micOn = true; p.script = QStringLiteral("One line to read."); p.prompterSpeed = 30; });
  IslandView view(studio, nullptr);

  studio.setPhase(Phase::countdown);
  studio.setCountdown(2);
  IslandLook look = view.lookAt(100);
  EXPECT_EQ(look.status, "Rolling in 2");
  EXPECT_TRUE(look.narrow);
  EXPECT_FALSE(look.controls);
  EXPECT_TRUE(look.prompter);

  studio.setPhase(Phase::recording);
  studio.setRecordStart(100);
  studio.setRecordingHasMic(false);
  look = view.lookAt(100 + 83.4);
  EXPECT_EQ(look.status, "1:23");
  EXPECT_TRUE(look.controls);
  EXPECT_TRUE(look.micOff) << "recording without a microphone crosses it out";

  EXPECT_TRUE(view.tick(183.4));
  EXPECT_FALSE(view.tick(183.4)) << "nothing changed: nothing repainted";
  EXPECT_TRUE(view.tick(183.5)) << "the script moved";
  studio.setPausedAt(183.5);
  view.tick(183.6);
  EXPECT_FALSE(view.tick(190)) << "paused: the time and the script hold still";
  EXPECT_EQ(view.lookAt(190).status, "1:23");

  studio.setPhase(Phase::finishing);
  EXPECT_EQ(view.lookAt(200).status, "Saving");
  EXPECT_FALSE(view.lookAt(200).prompter);
}

}  // namespace
}  // namespace vorn
