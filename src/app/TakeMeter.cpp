// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/TakeMeter.h"

#include "base/Clock.h"
#include "model/Studio.h"
#include "monitor/StatusText.h"

#include <unistd.h>

namespace vorn {
namespace {

constexpr int kBarCells = 20;
// The level scale the studio's bars use: 0 at −50 dBFS, 1 at 0 dBFS.
constexpr double kLevelFloorDb = -50;

QString bar(float level) {
  const int lit = std::clamp(int(level * kBarCells + 0.5f), 0, kBarCells);
  return QString(lit, '#') + QString(kBarCells - lit, '-');
}

}  // namespace

TakeMeter::TakeMeter(const Studio& studio, std::FILE* out, QObject* parent)
    : QObject(parent), studio_(studio), out_(out), terminal_(::isatty(fileno(out)) == 1) {
  timer_.setInterval(terminal_ ? 100 : 1000);
  connect(&timer_, &QTimer::timeout, this, &TakeMeter::draw);
}

QString TakeMeter::line(double elapsedSeconds, float level, bool paused, bool micOn) {
  QString text = QStringLiteral("%1 %2").arg(paused ? tr("paused") : tr("recording"), elapsedText(elapsedSeconds));
  if (!micOn) return text + tr("  mic off");
  if (level <= 0) return text + tr("  mic [%1] below %2 dB").arg(bar(0)).arg(kLevelFloorDb);
  return text + tr("  mic [%1] %2 dB").arg(bar(level)).arg(int(std::lround(kLevelFloorDb * (1 - level))));
}

void TakeMeter::start(bool micOn) {
  micOn_ = micOn;
  timer_.start();
}

void TakeMeter::finish() {
  timer_.stop();
  if (terminal_ && drawn_) std::fputs("\n", out_);
  drawn_ = false;
  std::fflush(out_);
}

void TakeMeter::draw() {
  const QString text = line(studio_.elapsed(mediaTime()), studio_.micLevel(), studio_.isPaused(), micOn_);
  // "\r" and erase-to-end-of-line: a shorter line leaves nothing of a longer one behind.
  if (terminal_) std::fputs(qPrintable("\r" + text + "\033[K"), out_);
  else std::fputs(qPrintable(text + '\n'), out_);
  std::fflush(out_);
  drawn_ = true;
}

}  // namespace vorn
