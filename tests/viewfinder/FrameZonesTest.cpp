// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/Suggest.h"
#include "model/Prefs.h"
#include "viewfinder/FrameState.h"
#include "viewfinder/FrameZones.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using Kind = FrameZones::Kind;

TEST(FrameZonesTest, buttonsThenCornersInOrderThenTheBody) {
  FrameZones zones;
  zones.regionSize = {40, 300};  // corners 40 apart: their reaches overlap
  zones.sparkRect = QRectF(26, 20, 26, 26);
  zones.hideRect = QRectF(58, 20, 26, 26);
  struct Case {
    QPointF at;
    FrameZones::Zone zone;
  };
  for (const Case& c : std::initializer_list<Case>{
           {{46, 52}, {Kind::corner, 0}},   // as near to both top corners: top-left wins
           {{64, 52}, {Kind::corner, 1}},
           {{26, 352}, {Kind::corner, 2}},
           {{40, 40}, {Kind::spark}},       // a button within a corner's reach is the button
           {{60, 30}, {Kind::hide}},
           {{45, 200}, {Kind::body}},
           {{1, 200}, {Kind::body}},        // the margin belongs to the frame
           {{-1, 200}, {Kind::outside}},
           {{45, 403}, {Kind::body}},
           {{45, 405}, {Kind::outside}}})
    EXPECT_EQ(zones.zone(c.at), c.zone) << c.at.x() << "," << c.at.y();
  EXPECT_FALSE(FrameZones::hint({Kind::outside}));
  EXPECT_EQ(FrameZones::hint({Kind::corner, 2})->text, "Drag to resize");
}

TEST(FrameZonesTest, theChipStripGoesAboveBelowOrInsideAndStaysInsideThePanel) {
  const QRectF f(100, 10, 300, 500);
  for (const ChipPlace place : {ChipPlace::above, ChipPlace::below, ChipPlace::inside}) {
    const QRectF panel = FrameZones::panel(f, place, 200);
    const QRectF strip = FrameZones::chipStrip(f, place, 200);
    EXPECT_TRUE(panel.contains(strip)) << int(place);
    EXPECT_TRUE(panel.contains(f)) << int(place);
    EXPECT_EQ(strip.intersects(f), place == ChipPlace::inside) << "only inside does the strip cover the region";
    FrameZones zones;
    zones.regionSize = f.size();
    zones.chipPlace = place;
    EXPECT_EQ(zones.region().translated(panel.topLeft()), f) << "the view draws the region where it is";
  }
  EXPECT_LT(FrameZones::chipStrip(f, ChipPlace::above, 200).top(), f.top());
  EXPECT_GE(FrameZones::chipStrip(f, ChipPlace::below, 200).top(), f.bottom());
  EXPECT_EQ(FrameZones::panel(f, ChipPlace::inside, 200).height(), f.height() + 2 * FrameZones::margin)
      << "a frame as tall as the screen has nothing above or below it";
}

// At 150 % the prompter under the island reaches the frame's middle: the number moves below it.
TEST(FrameZonesTest, theCountdownStaysClearOfTheStudiosWindows) {
  const QRectF r(26, 52, 400, 700);  // 168 across: 142…310 wide, 316…484 high in the middle
  const QRectF centred = FrameZones::countdownCircle(r, {});
  EXPECT_EQ(centred, QRectF(142, 318, 168, 168));
  EXPECT_EQ(FrameZones::countdownCircle(r, QRegion(0, 0, 100, 800)), centred) << "beside the circle: no matter";

  const QRectF below = FrameZones::countdownCircle(r, QRegion(120, 0, 300, 400));
  EXPECT_EQ(below.size(), centred.size());
  EXPECT_GE(below.top(), 400 + 8);
  EXPECT_EQ(below.center().x(), centred.center().x());

  const QRectF squeezed = FrameZones::countdownCircle(r, QRegion(120, 0, 300, 600));
  EXPECT_LT(squeezed.width(), centred.width()) << "shrunk to the room under the prompter";
  EXPECT_GE(squeezed.top(), 600 + 8);
  EXPECT_LE(squeezed.bottom(), r.bottom() - 8 + 1e-9);

  EXPECT_EQ(FrameZones::countdownCircle(r, QRegion(0, 0, 500, 700)), centred) << "no room worth it";
}

TEST(FrameZonesTest, readabilityTruncatesTheNumberButJudgesTheHalfPoint) {
  EXPECT_EQ(FrameReadout::readability(8.5), "Text 8 pt on phone  ·  Readable");
  EXPECT_EQ(FrameReadout::readability(11), "Text 11 pt on phone  ·  Crisp");
  EXPECT_EQ(FrameReadout::readability(10.5), "Text 10 pt on phone  ·  Readable");
  EXPECT_EQ(FrameReadout::readability(8), "Text 8 pt on phone  ·  Too small");
  // A 1080-wide slot over a 540-point region doubles 14 points: 28 × 402/1080 = 10.42 → 10.5.
  EXPECT_EQ(FrameReadout::points(540, 1080), 10.5);
  EXPECT_EQ(FrameReadout::points(0, 1080), 0);
  EXPECT_EQ(FrameReadout::pulse(10.9, 10.0), 1.0);
  EXPECT_EQ(FrameReadout::pulse(10.45, 10.0), 0.5);
  EXPECT_EQ(FrameReadout::pulse(9.0, 10.0), 0.0);
  EXPECT_EQ(FrameReadout::idealRatio(1030, 1000), 1.03);
  EXPECT_FALSE(FrameReadout::idealRatio(1000, 0));
}

TEST(FrameZonesTest, safeGuidesOnlyForABleedingScreenOnAPlatform) {
  Prefs p;
  p.layout = Layout::screen;
  p.style = FrameStyle::bleed;
  p.platform = Platform::tiktok;
  EXPECT_EQ(FrameReadout::safeFractions(p), (std::vector<double>{130.0 / 1920, 330.0 / 1920, 150.0 / 1080}));
  for (auto change : std::initializer_list<void (*)(Prefs&)>{[](Prefs& q) { q.layout = Layout::split; },
                                                           [](Prefs& q) { q.layout = Layout::me; },
                                                           [](Prefs& q) { q.style = FrameStyle::floating; },
                                                           [](Prefs& q) { q.platform = Platform::none; }}) {
    Prefs q = p;
    change(q);
    EXPECT_FALSE(FrameReadout::safeFractions(q));
  }
}

TEST(SuggestTest, centresOnSalientThingsInTheFrontWindowAndClampsBySize) {
  const Size display{1920, 1080};
  const double aspect = 0.5;
  // No window, no cursor: the display's centre at the ideal height (bounded by the display).
  const Rect centred = Suggest::frame({}, {}, display, aspect, 2000, std::nullopt);
  EXPECT_NEAR(centred.height, 0.94 * 1080, 1e-9);
  EXPECT_NEAR(centred.x + centred.width / 2, 960, 1e-9);
  EXPECT_NEAR(centred.y + centred.height / 2, 540, 1e-9);
  // The cursor is the centre without a window; never under 260 high.
  EXPECT_EQ(Suggest::frame({}, {}, display, aspect, 100, Point{300, 300}), (Rect{300 - 65, 300 - 130, 130, 260}));

  const Rect window{100, 100, 800, 600};
  const std::vector<Suggest::Salient> objects{{{700, 600, 40, 40}, 0.9}, {{1500, 200, 100, 100}, 1.0}};
  // Only the object inside the window counts; the frame fits the window and is clamped into it.
  const Rect r = Suggest::frame({window}, objects, display, aspect, 1000, std::nullopt);
  EXPECT_EQ(r.height, 600);
  EXPECT_TRUE(window.contains(r)) << r.x << "," << r.y;
  EXPECT_EQ(r.x, 720 - 150);
  // A tiny window still allows a frame 360 high, then clamped into the display only.
  const Rect tiny{10, 10, 200, 150};
  const Rect t = Suggest::frame({tiny}, {}, display, aspect, 1000, std::nullopt);
  EXPECT_EQ(t.height, 360);
  EXPECT_EQ(t.x, 110 - 90) << "centred on the window";
  EXPECT_EQ(t.y, 0) << "moved down into the display";
  // No object inside the window: all objects count.
  const Rect all = Suggest::frame({tiny}, {{{1500, 500, 100, 100}, 1}}, display, aspect, 1000, std::nullopt);
  EXPECT_EQ(all.x + all.width / 2, 1550);
}

}  // namespace
}  // namespace vorn
