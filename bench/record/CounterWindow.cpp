// SPDX-License-Identifier: GPL-3.0-or-later
// A window that shows a frame counter advancing 60 times a second, for the recording
// benchmark: the counter is the number of 1/60 s periods since start, painted as Gray-coded
// stripes (see CounterPattern.h) and as text.
//
// usage: counter_window X Y WIDTH HEIGHT

#include "CounterPattern.h"

#include <QApplication>
#include <QPainter>
#include <QTimer>
#include <QWidget>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

using Clock = std::chrono::steady_clock;

class CounterWindow : public QWidget {
 public:
  CounterWindow() : start_(Clock::now()) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    timer_.setTimerType(Qt::PreciseTimer);
    // Twice the counter's rate, so that no 1/60 s period goes unpainted.
    timer_.setInterval(8);
    connect(&timer_, &QTimer::timeout, this, [this] {
      if (counter() != painted_) update();
    });
    timer_.start();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    painted_ = counter();
    QPainter painter(this);
    painter.fillRect(rect(), QColor(40, 40, 48));
    const std::uint32_t gray = vorn::bench::toGray(std::uint32_t(painted_));
    const int top = int(height() * vorn::bench::kBandTop);
    const int bottom = int(height() * vorn::bench::kBandBottom);
    for (int bit = 0; bit < vorn::bench::kCounterBits; ++bit) {
      const int left = width() * bit / vorn::bench::kCounterBits;
      const int right = width() * (bit + 1) / vorn::bench::kCounterBits;
      const bool one = (gray >> (vorn::bench::kCounterBits - 1 - bit)) & 1;
      painter.fillRect(left, top, right - left, bottom - top, one ? Qt::white : Qt::black);
    }
    QFont font = painter.font();
    font.setPixelSize(height() / 6);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRect(0, bottom, width(), height() - bottom), Qt::AlignCenter,
                     QString::number(painted_));
  }

 private:
  long counter() const {
    return long(std::chrono::duration<double>(Clock::now() - start_).count() * 60);
  }

  Clock::time_point start_;
  long painted_ = -1;
  QTimer timer_;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  if (argc < 5) {
    std::fprintf(stderr, "usage: counter_window X Y WIDTH HEIGHT\n");
    return 2;
  }
  CounterWindow window;
  window.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
  window.setGeometry(std::atoi(argv[1]), std::atoi(argv[2]), std::atoi(argv[3]),
                     std::atoi(argv[4]));
  window.show();
  return QApplication::exec();
}
