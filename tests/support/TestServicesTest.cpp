// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/TestServices.h"

#include <QDir>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <xcb/xcb.h>

namespace vorn::test {
namespace {

TEST(TestServices, homeIsPrivate) {
  ASSERT_NE(tempHome(), nullptr);
  EXPECT_EQ(QDir::homePath().toStdString(), tempHome()->path());
  EXPECT_TRUE(QStandardPaths::writableLocation(QStandardPaths::MoviesLocation)
                  .startsWith(QString::fromStdString(tempHome()->path())));
}

TEST(TestServices, xvfbAnswers) {
  ASSERT_NE(xServer(), nullptr);
  int screen = 0;
  xcb_connection_t* c = xcb_connect(xServer()->display().c_str(), &screen);
  ASSERT_EQ(xcb_connection_has_error(c), 0);
  const xcb_screen_t* s = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
  EXPECT_EQ(s->width_in_pixels, 1920);
  EXPECT_EQ(s->height_in_pixels, 1080);
  xcb_disconnect(c);
}

TEST(TestServices, pulseHasTheNullSinkAndItsMonitor) {
  ASSERT_NE(pulseServer(), nullptr);
  std::string sources;
  ASSERT_EQ(pulseServer()->pactl({"list", "short", "sources"}, &sources), 0);
  EXPECT_NE(sources.find("vsink.monitor"), std::string::npos) << sources;
}

}  // namespace
}  // namespace vorn::test
