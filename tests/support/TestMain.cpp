// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/TestServices.h"

#include <QApplication>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const bool listing = testing::GTEST_FLAG(list_tests);
  try {
    vorn::test::startServices(!listing && VORN_TEST_NEEDS_X, !listing && VORN_TEST_NEEDS_PULSE,
                              !listing && VORN_TEST_NEEDS_WM, !listing && VORN_TEST_NEEDS_BUS,
                              !listing && VORN_TEST_NEEDS_GNOME);
  } catch (const std::exception& error) {
    std::cerr << "test services: " << error.what() << "\n";
    return 1;
  }
  // The tests' camera is the sample, asked for by name; a test of a machine without one
  // takes the name away.
  setenv("VORN_SAMPLE_CAMERA", ":/vorn/sample-face.jpg", 0);
  // Programs without an X server draw off screen.
  setenv("QT_QPA_PLATFORM", (VORN_TEST_NEEDS_X || VORN_TEST_NEEDS_WM) && !listing ? "xcb" : "offscreen", 1);
  int status;
  {
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Vorn"));
    QApplication::setApplicationName(QStringLiteral("Vorn"));
    status = RUN_ALL_TESTS();
  }
  vorn::test::stopServices();
  return status;
}
