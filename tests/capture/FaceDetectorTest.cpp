// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QLineF>
#include <QPainter>

#include "capture/CaptureTestSupport.h"
#include "capture/FaceDetector.h"
#include "capture/SampleCamera.h"

using namespace vorn;

namespace {

QImage sampleFace() {
  const QImage image(SampleCamera::builtInPath);
  EXPECT_FALSE(image.isNull()) << "the sample face is built into the program";
  return image;
}

using test::DrawnFace;

FrameRef cameraPicture(const std::vector<DrawnFace>& faces) {
  return test::frameFromImage(test::cameraPictureWithFaces(faces));
}

// Whether the found face's centre lies within a third of a face width of the drawn centre.
bool finds(const std::optional<Rect>& found, DrawnFace face) {
  if (!found) return false;
  const QPointF centre(found->midX() * 1920, (1 - found->midY()) * 1080);
  return QLineF(centre, face.centre).length() < face.width / 3;
}

}  // namespace

TEST(FaceDetector, FindsTheFaceInTheSample) {
  FaceDetector detector;
  ASSERT_TRUE(detector.ready());
  const std::optional<Rect> face = detector.largestFace(*test::frameFromImage(sampleFace()));
  ASSERT_TRUE(face.has_value());
  // The astronaut's face sits left of centre in the upper half (origin at the bottom left).
  EXPECT_GT(face->x, 0.3);
  EXPECT_LT(face->maxX(), 0.65);
  EXPECT_GT(face->y, 0.45);
  EXPECT_LT(face->maxY(), 0.95);
  EXPECT_GT(face->width, 0.1);
  EXPECT_LT(face->width, 0.4);
}

TEST(FaceDetector, FindsTheFaceInAFullHdCameraPicture) {
  // The sample, 1080 pixels tall, in the middle of a 1920 × 1080 picture.
  QImage picture(1920, 1080, QImage::Format_ARGB32_Premultiplied);
  picture.fill(QColor(60, 60, 60));
  QPainter painter(&picture);
  painter.drawImage(QRect(420, 0, 1080, 1080), sampleFace());
  painter.end();
  FaceDetector detector;
  const std::optional<Rect> face = detector.largestFace(*test::frameFromImage(picture));
  ASSERT_TRUE(face.has_value());
  const double centerX = (420 + 0.43 * 1080) / 1920;
  EXPECT_NEAR(face->midX(), centerX, 0.05);
  EXPECT_GT(face->y, 0.45);
}

TEST(FaceDetector, FindsNothingInABlankPicture) {
  FaceDetector detector;
  QImage blank(1280, 720, QImage::Format_ARGB32_Premultiplied);
  blank.fill(QColor(128, 128, 128));
  EXPECT_FALSE(detector.largestFace(*test::frameFromImage(blank)).has_value());
}

TEST(FaceDetector, AMissingCascadeFindsNothingAndNeverThrows) {
  FaceDetector detector("/nonexistent/cascade.xml");
  EXPECT_FALSE(detector.ready());
  EXPECT_FALSE(detector.largestFace(*test::frameFromImage(sampleFace())).has_value());
}

TEST(FaceDetector, FollowsAFaceThatMovesAppearsElsewhereAndComesBack) {
  FaceDetector detector;
  DrawnFace face{{500, 420}, 240};
  // Small steps: each detection after the first looks only near the last face.
  for (int step = 0; step < 12; ++step) {
    face.centre += QPointF(0.3 * face.width, step % 2 ? 10 : -10);
    face.width *= step < 6 ? 1.08 : 0.93;
    EXPECT_TRUE(finds(detector.largestFace(*cameraPicture({face})), face)) << "step " << step;
  }
  // A jump across the picture is found in the same detection.
  face.centre = {400, 600};
  EXPECT_TRUE(finds(detector.largestFace(*cameraPicture({face})), face));
  // Gone, then back somewhere else.
  EXPECT_FALSE(detector.largestFace(*cameraPicture({})).has_value());
  face.centre = {1500, 500};
  EXPECT_TRUE(finds(detector.largestFace(*cameraPicture({face})), face));
}

TEST(FaceDetector, ALargerFaceElsewhereTakesOverWithinAFullSearch) {
  FaceDetector detector;
  const DrawnFace small{{500, 420}, 200}, large{{1400, 500}, 300};
  ASSERT_TRUE(finds(detector.largestFace(*cameraPicture({small})), small));
  const FrameRef both = cameraPicture({small, large});
  int detections = 0;
  while (++detections <= FaceDetector::fullSearchEvery &&
         !finds(detector.largestFace(*both), large)) {
  }
  EXPECT_LE(detections, FaceDetector::fullSearchEvery);
  // And it is kept from then on.
  for (int i = 0; i < 2 * FaceDetector::fullSearchEvery; ++i)
    EXPECT_TRUE(finds(detector.largestFace(*both), large)) << "detection " << i;
}
