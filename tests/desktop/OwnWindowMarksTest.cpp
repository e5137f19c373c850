// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/OwnWindowMarks.h"
#include "desktop/OwnWindowMarker.h"

#include <QCoreApplication>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>
#include <QWidget>
#include <QWindow>
#include <gtest/gtest.h>

#include <random>

namespace vorn {
namespace {

// A busy screen: noise in every colour, dark ones included.
QImage noisyScreen() {
  QImage screen(1920, 1080, QImage::Format_RGB32);
  std::minstd_rand noise(7);
  for (int y = 0; y < screen.height(); ++y) {
    auto* row = reinterpret_cast<QRgb*>(screen.scanLine(y));
    for (int x = 0; x < screen.width(); ++x) row[x] = noise() % 4 ? qRgb(noise() % 32, noise() % 32, noise() % 32) : QRgb(noise());
  }
  return screen;
}

std::vector<Rect> found(const QImage& screen) {
  return findOwnWindows(screen.constBits(), screen.width(), screen.height(), int(screen.bytesPerLine()), false);
}

// A window of Vorn's as a shared monitor shows it: at its size, at twice its size (a scaled
// desktop), and with one corner under another window; its marks stay above children added
// after them and follow a resize. The busy screen alone holds no window.
TEST(OwnWindowMarks, aMarkedWindowIsFoundWhereverTheScreenShowsIt) {
  QWidget window;
  window.setStyleSheet(QStringLiteral("background: #18181b; color: white;"));
  markAsOwnWindow(&window);
  auto* layout = new QVBoxLayout(&window);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(new QLabel(QStringLiteral("A label that fills the window, corners and all")));
  window.resize(420, 300);
  window.show();
  QCoreApplication::processEvents();
  // The marks stand for the window with the frame the toolkit draws around it.
  const QMargins frame = window.windowHandle()->frameMargins();
  const auto around = [&](double x, double y, double width, double height, double scale) {
    return Rect{x - frame.left() * scale, y - frame.top() * scale,
                width + (frame.left() + frame.right()) * scale, height + (frame.top() + frame.bottom()) * scale};
  };
  const QImage picture = window.grab().toImage().convertToFormat(QImage::Format_RGB32);
  ASSERT_EQ(picture.size(), QSize(420, 300));

  QImage screen = noisyScreen();
  EXPECT_TRUE(found(screen).empty());
  QPainter painter(&screen);
  painter.drawImage(300, 200, picture);
  painter.drawImage(QRect(900, 100, 840, 600), picture);  // nearest neighbour: a scale of 2
  painter.end();
  std::vector<Rect> windows = found(screen);
  ASSERT_EQ(windows.size(), 2u);
  EXPECT_EQ(windows[0], around(900, 100, 840, 600, 2));
  EXPECT_EQ(windows[1], around(300, 200, 420, 300, 1));

  QPainter cover(&screen);
  cover.fillRect(250, 150, 100, 100, Qt::gray);
  cover.end();
  windows = found(screen);
  ASSERT_EQ(windows.size(), 2u);
  EXPECT_EQ(windows[1], around(300, 200, 420, 300, 1)) << "found by the corner left in sight";

  window.resize(500, 320);
  QCoreApplication::processEvents();
  const QImage resized = window.grab().toImage().convertToFormat(QImage::Format_RGB32);
  QImage other = noisyScreen();
  QPainter again(&other);
  again.drawImage(10, 20, resized);
  again.end();
  EXPECT_EQ(found(other), (std::vector<Rect>{around(10, 20, 500, 320, 1)}));
}

// Once every window is to be marked, one that shows later (a dialog, a menu) carries marks too.
TEST(OwnWindowMarks, everyWindowShownAfterwardsIsMarked) {
  markEveryOwnWindow();
  QWidget dialog(nullptr, Qt::Popup);
  dialog.setStyleSheet(QStringLiteral("background: white;"));
  dialog.resize(200, 120);
  dialog.show();
  QCoreApplication::processEvents();
  QImage screen = noisyScreen();
  QPainter painter(&screen);
  painter.drawImage(700, 500, dialog.grab().toImage());
  painter.end();
  const QMargins frame = dialog.windowHandle()->frameMargins();
  EXPECT_EQ(found(screen), (std::vector<Rect>{{700.0 - frame.left(), 500.0 - frame.top(),
                                               200.0 + frame.left() + frame.right(),
                                               120.0 + frame.top() + frame.bottom()}}));
}

}  // namespace
}  // namespace vorn
