#include <gtest/gtest.h>

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
