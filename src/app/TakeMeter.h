// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QTimer>

#include <cstdio>

namespace vorn {

class Studio;

// A take recorded from the terminal, as it goes: its elapsed time and the microphone's level.
// On a terminal one line redrawn in place ten times a second; into a pipe or a file a plain
// line a second, so that a log stays readable.
class TakeMeter : public QObject {
  Q_OBJECT

 public:
  TakeMeter(const Studio& studio, std::FILE* out, QObject* parent = nullptr);

  // The line as it reads `elapsedSeconds` into the take with the microphone at `level` (0–1).
  static QString line(double elapsedSeconds, float level, bool paused, bool micOn);

  void start(bool micOn);
  // Ends the line in place, so that what is printed next starts on a line of its own.
  void finish();

 private:
  void draw();

  const Studio& studio_;
  std::FILE* const out_;
  const bool terminal_;
  bool micOn_ = true;
  bool drawn_ = false;
  QTimer timer_;
};

}  // namespace vorn
