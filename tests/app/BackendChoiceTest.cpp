// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "support/TestServices.h"

#include <QColor>
#include <QImage>
#include <gtest/gtest.h>

#include <cstdlib>

namespace vorn {
namespace {

// Sets an environment variable for one scope and puts back what was there.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    if (value)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  ~ScopedVariable() {
    if (old_)
      setenv(name_, old_->c_str(), 1);
    else
      unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(BackendChoice, aSamplePictureIsTheOneDisplayAndTheSampleCameraOnlyWhenNamed) {
  const std::string picture = test::tempHome()->path() + "/screen.png";
  QImage image(640, 360, QImage::Format_RGB32);
  image.fill(QColor(20, 40, 60));
  ASSERT_TRUE(image.save(QString::fromStdString(picture)));

  {
    ScopedVariable screen("VORN_SAMPLE_SCREEN", picture.c_str());
    ScopedVariable camera("VORN_SAMPLE_CAMERA", nullptr);
    const auto platform = BackendChoice::choose();
    EXPECT_FALSE(platform->serverScreen());
    const std::vector<DisplayInfo> displays = platform->displays();
    ASSERT_EQ(displays.size(), 1u);
    EXPECT_EQ(displays.front().rect, (Rect{0, 0, 640, 360}));
    EXPECT_FALSE(platform->forEngine().sampleCamera) << "no stranger's face unless asked for";
  }
  ScopedVariable camera("VORN_SAMPLE_CAMERA", ":/vorn/sample-face.jpg");
  ScopedVariable screen("VORN_SAMPLE_SCREEN", "/nonexistent/screen.png");
  const auto platform = BackendChoice::choose();
  EXPECT_EQ(platform->forEngine().sampleCamera, QStringLiteral(":/vorn/sample-face.jpg"));
  EXPECT_TRUE(platform->displays().empty());
  EXPECT_EQ(platform->noDisplay(),
            QStringLiteral("No display to capture: VORN_SAMPLE_SCREEN=/nonexistent/screen.png can't be shown."));
}

// The variables are read when the choice is made, never later.
TEST(BackendChoice, theXServerServesEverythingAndWithoutOneTheDesktopIsAbsent) {
  ScopedVariable sample("VORN_SAMPLE_SCREEN", nullptr);
  const auto platform = BackendChoice::choose();
  ASSERT_TRUE(platform->serverScreen());
  const std::vector<DisplayInfo> displays = platform->displays();
  ASSERT_FALSE(displays.empty());
  platform->openDesktop();
  EXPECT_TRUE(platform->overlays());
  const Backends backends = platform->forEngine();
  EXPECT_TRUE(backends.desktop.grabKey && backends.desktop.watchClicks && backends.desktop.pointer);
  EXPECT_NE(backends.own.mask, 0u) << "the studio's own windows are known";
  EXPECT_FALSE(backends.screen->screenshot(displays.front()).isNull());

  ScopedVariable display("DISPLAY", nullptr);
  const auto without = BackendChoice::choose();
  EXPECT_TRUE(without->displays().empty());
  EXPECT_EQ(without->noDisplay(), QStringLiteral("No display to capture: DISPLAY is not set."));
  without->openDesktop();
  EXPECT_FALSE(without->overlays());
  EXPECT_FALSE(without->forEngine().desktop.grabKey);
}

}  // namespace
}  // namespace vorn
