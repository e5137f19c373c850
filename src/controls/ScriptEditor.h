// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QSpinBox;

namespace vorn {

class Studio;

// The teleprompter's script and pace, in a small window of its own that opens while the
// studio's `showScript` is on. Keys typed here are the script's, never the studio's.
class ScriptEditor : public QWidget {
  Q_OBJECT

 public:
  ScriptEditor(Studio& studio, QWidget* owner);
  QPlainTextEdit* text() const { return text_; }
  QSpinBox* pace() const { return pace_; }
  // Shown while the script stands cut at its longest.
  QLabel* tooLong() const { return tooLong_; }

 private:
  void follow();

  Studio& studio_;
  QPlainTextEdit* text_;
  QLabel* tooLong_;
  QSpinBox* pace_;
};

}  // namespace vorn
