// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/LayoutHandles.h"
#include "model/Studio.h"
#include "monitor/MonitorPlacement.h"
#include "monitor/MonitorWindow.h"
#include "monitor/ReviewBar.h"
#include "monitor/PhoneCard.h"
#include "monitor/PhoneView.h"
#include "monitor/StatusText.h"
#include "capture/ScreenBackend.h"
#include "model/Geometry.h"

#include <QCoreApplication>
#include <QLayout>
#include <QPushButton>
#include <gtest/gtest.h>

namespace vorn {
namespace {

const QRect kVisible(0, 30, 1920, 1050);  // a panel across the top

TEST(MonitorPlacement, opensAwayFromTheFrameAndReturnsWhereItWasLeft) {
  // The frame on the left half: the monitor goes to the right edge, vertically centred.
  EXPECT_EQ(MonitorPlacement::full(std::nullopt, kVisible, QRectF(100, 100, 600, 800)),
            QRect(1920 - 360 - 12, 30 + 525 - 430, 360, 860));
  EXPECT_EQ(MonitorPlacement::full(std::nullopt, kVisible, QRectF(1200, 100, 600, 800)).x(), 12);
  // Where the user left it, while that still lies on the screen.
  EXPECT_EQ(MonitorPlacement::full(QRect(700, 100, 360, 860), kVisible, {}), QRect(700, 100, 360, 860));
  EXPECT_EQ(MonitorPlacement::full(QRect(2500, 100, 360, 860), kVisible, QRectF(100, 100, 10, 10)).x(), 1548)
      << "a place on a display that is gone is forgotten";
  // A screen shorter than the window (1080 pixels at 150 %) gets a window as tall as it is, and
  // a place left on a taller screen is kept on this one.
  EXPECT_EQ(MonitorPlacement::full(std::nullopt, QRect(0, 0, 1280, 720), {}), QRect(1280 - 360 - 12, 0, 360, 720));
  EXPECT_EQ(MonitorPlacement::full(QRect(700, 100, 360, 860), QRect(0, 0, 1280, 720), {}), QRect(700, 0, 360, 720));
}

TEST(MonitorPlacement, compactKeepsTheCentreLineAndStaysOnTheScreen) {
  const QRect window(1000, 100, 360, 860);
  EXPECT_EQ(MonitorPlacement::form(true, window, window, kVisible), QRect(1055, 124, 250, 68));
  EXPECT_EQ(MonitorPlacement::form(false, QRect(1055, 124, 250, 68), window, kVisible), window);
  // Without a remembered place, full again is the inverse of compacting, clamped.
  EXPECT_EQ(MonitorPlacement::form(false, QRect(1055, 124, 250, 68), std::nullopt, kVisible),
            QRect(1000, 100, 360, 860));
  EXPECT_EQ(MonitorPlacement::form(true, QRect(1700, 1040, 360, 860), std::nullopt, kVisible),
            QRect(1670, 1012, 250, 68))
      << "compacting near the bottom right clamps the bar inside the screen";
}

// A reel at its wordiest: a two-line headline, a caption cut to two lines, a flag, the hint.
ReelJob wordiestReel() {
  ReelJob job;
  job.stage = ReelStage::ready();
  job.duration = 42;
  job.video = QUrl::fromLocalFile(QStringLiteral("/videos/take · Reel.mp4"));
  job.headline = {QStringLiteral("How I cut my editing time in half"), QStringLiteral("with one rule I learned too late")};
  job.caption = QStringLiteral("Most of the work happens before you press record. ").repeated(4);
  job.flags = {QStringLiteral("Quiet audio in places"), QStringLiteral("Long pause at 0:12")};
  job.brain = QStringLiteral("claude");
  return job;
}

TEST(MonitorWindow, fitsTheScreenWithEveryButtonOfTheReviewBarWhole) {
  Studio studio;
  studio.setPhase(Phase::review);
  MonitorWindow monitor(studio);
  monitor.QWidget::show();
  ReviewBar& bar = *monitor.reviewBar();
  ReelJob rendering = wordiestReel();
  rendering.stage = ReelStage::rendering(0.4);
  // 1080 pixels less a panel, at 100 %, 150 % and 200 %.
  for (const int screen : {1050, 700, 525}) {
    monitor.resize(MonitorPlacement::fullSizeOn(QRect(0, 30, 1920, screen)));
    EXPECT_LE(monitor.height(), screen);
    for (const std::optional<ReelJob>& job : {std::optional<ReelJob>(), std::optional(rendering),
                                              std::optional(wordiestReel())}) {
      bar.present(job);
      bar.layout()->activate();
      EXPECT_TRUE(monitor.rect().contains(bar.geometry())) << screen;
      for (const QPushButton* button : bar.findChildren<QPushButton*>()) {
        if (!button->isVisibleTo(&bar)) continue;
        EXPECT_TRUE(bar.rect().contains(button->geometry()))
            << button->text().toStdString() << " on a screen " << screen << " high";
        EXPECT_GE(button->height(), button->minimumSizeHint().height()) << button->text().toStdString();
      }
    }
  }
}

TEST(MonitorWindow, opensWhereItWasLeftInTheRunBefore) {
  Studio studio;
  const DisplayInfo display{1, "Screen", Rect{0, 0, 1920, 1080}, 1.0};
  const Rect frame{1200, 200, 400, 711};
  QRect left;
  {
    MonitorWindow monitor(studio);
    monitor.show(display, frame);
    monitor.move(300, 150);
    left = monitor.geometry();
    monitor.hide();
  }
  MonitorWindow next(studio);
  next.show(display, frame);
  EXPECT_EQ(next.geometry(), left);
}

TEST(PhoneCard, theWelcomeCardsLinesNeverRunIntoEachOtherOnAShrunkPhone) {
  Studio studio;
  studio.setPhase(Phase::framing);
  ASSERT_FALSE(studio.welcomed());
  MonitorWindow monitor(studio);
  monitor.QWidget::show();
  for (const int screen : {1050, 700, 525}) {
    monitor.resize(MonitorPlacement::fullSizeOn(QRect(0, 30, 1920, screen)));
    QCoreApplication::processEvents();
    const PhoneCard* card = monitor.phone()->findChild<PhoneCard*>();
    ASSERT_TRUE(card);
    card->layout()->activate();
    std::vector<QRect> placed;
    for (const QWidget* w : card->findChildren<QWidget*>()) {
      if (!w->isVisibleTo(card)) continue;
      const QRect r(w->mapTo(card, QPoint(0, 0)), w->size());
      EXPECT_TRUE(card->rect().contains(r)) << "inside the card on a screen " << screen << " high";
      EXPECT_GE(w->height(), w->heightForWidth(w->width()) > 0 ? w->heightForWidth(w->width()) : 0)
          << "each line whole on a screen " << screen << " high";
      for (const QRect& other : placed) EXPECT_FALSE(r.intersects(other)) << "on a screen " << screen << " high";
      placed.push_back(r);
    }
  }
}

TEST(LayoutHandles, theBubbleStaysWholeInsideTheFrame) {
  const QSizeF phone(288, 512);
  EXPECT_EQ(LayoutHandles::movedBubble({0.5, 0.5}, {28.8, -51.2}, 0.3, phone), QPointF(0.6, 0.4));
  EXPECT_EQ(LayoutHandles::movedBubble({0.5, 0.5}, {-1000, 1000}, 0.3, phone), QPointF(0.15, 1 - 0.15 * 0.5625))
      << "dragged past the edges it touches them";
  EXPECT_DOUBLE_EQ(LayoutHandles::pinchedBubble(0.3, 0.1), 0.18);
  EXPECT_DOUBLE_EQ(LayoutHandles::pinchedBubble(0.3, 3), 0.5);
  EXPECT_DOUBLE_EQ(LayoutHandles::pinchedBubble(0.3, 1.5), 0.45);
  EXPECT_EQ(LayoutHandles::movedBubble({0.9, 0.5}, {0, 0}, 0.5, phone).x(), 0.75)
      << "a drag after a pinch clamps with the new size";
}

TEST(LayoutHandles, theDividerFollowsThePointerWhicheverHalfIsOnTop) {
  LayoutFields split;
  split.layout = Layout::split;
  split.style = FrameStyle::bleed;
  split.splitRatio = 0.5;
  const QSizeF phone(288, 512);
  for (const bool cameraOnTop : {false, true}) {
    for (const FrameStyle style : {FrameStyle::bleed, FrameStyle::floating}) {
      split.cameraOnTop = cameraOnTop;
      split.style = style;
      LayoutFields moved = split;
      moved.splitRatio = LayoutHandles::movedDivider(split, 25.6, phone.height());
      const double before = *LayoutHandles::locate(split, phone).dividerY;
      const double after = *LayoutHandles::locate(moved, phone).dividerY;
      EXPECT_NEAR(after - before, 25.6, 1e-9) << "camera on top " << cameraOnTop << ", style " << int(style);
    }
  }
  EXPECT_DOUBLE_EQ(LayoutHandles::movedDivider(split, 10000, 512), split.cameraOnTop ? 0.34 : 0.72);
  EXPECT_DOUBLE_EQ(LayoutHandles::movedDivider(split, -10000, 512), split.cameraOnTop ? 0.72 : 0.34);

  LayoutFields screen;
  screen.layout = Layout::screen;
  const auto places = LayoutHandles::locate(screen, phone);
  EXPECT_FALSE(places.dividerY);
  ASSERT_TRUE(places.bubble);
  EXPECT_NEAR(places.bubble->center().x(), screen.bubbleX * 288, 1e-9);
  screen.cameraOn = false;
  EXPECT_FALSE(LayoutHandles::locate(screen, phone).bubble);
}

TEST(StatusText, elapsedTimeReadsLikeAClock) {
  EXPECT_EQ(elapsedText(0), "0:00");
  EXPECT_EQ(elapsedText(59.99), "0:59");
  EXPECT_EQ(elapsedText(83), "1:23");
  EXPECT_EQ(elapsedText(3600 + 62), "1:01:02");
  EXPECT_EQ(elapsedText(-3), "0:00");
  EXPECT_EQ(elapsedText(std::nan("")), "0:00");
}

}  // namespace
}  // namespace vorn

namespace vorn {
namespace {

// A first take started by the key or `vorn --toggle`, before "Start": the welcome is over.
TEST(PhoneCard, aTakeBegunWithoutStartEndsTheWelcome) {
  Studio studio;
  studio.setPhase(Phase::framing);
  MonitorWindow monitor(studio);
  ASSERT_TRUE(monitor.phone()->findChild<PhoneCard*>());
  studio.setPhase(Phase::countdown);
  EXPECT_TRUE(studio.welcomed());
  studio.setPhase(Phase::framing);
  const PhoneCard* card = monitor.phone()->findChild<PhoneCard*>();
  EXPECT_TRUE(!card || !card->isVisibleTo(monitor.phone()));
  studio.setWelcomed(false);  // the other tests start new
}

TEST(PhoneCard, oneCardAtATimeWelcomeThenCameraThenMicrophone) {
  Studio studio;
  studio.updatePrefs([](Prefs& p) { p.layout = Layout::screen; p.cameraOn = true; p.micOn = true; });
  studio.setPhase(Phase::framing);
  studio.setCameraProblem(QStringLiteral("No camera is connected."));
  studio.setMicAccess(false);
  EXPECT_EQ(PhoneCard::due(studio), PhoneCard::Kind::welcome);
  studio.setWelcomed(true);
  EXPECT_EQ(PhoneCard::due(studio), PhoneCard::Kind::camera);
  for (const Phase phase : {Phase::countdown, Phase::recording, Phase::review}) {
    studio.setPhase(phase);
    EXPECT_EQ(PhoneCard::due(studio), std::nullopt) << "the preview of a take is never covered";
  }
  studio.setPhase(Phase::framing);
  studio.updatePrefs([](Prefs& p) { p.cameraOn = false; });
  EXPECT_EQ(PhoneCard::due(studio), PhoneCard::Kind::microphone) << "no camera in the layout: no camera card";
  studio.setPhase(Phase::recording);
  EXPECT_EQ(PhoneCard::due(studio), std::nullopt) << "a take under way is not covered";
  studio.setPhase(Phase::framing);
  studio.updatePrefs([](Prefs& p) { p.micOn = false; });
  EXPECT_EQ(PhoneCard::due(studio), std::nullopt);
}

}  // namespace
}  // namespace vorn
