#pragma once

#include <QWidget>

class QPlainTextEdit;
class QSpinBox;

namespace vorn {

class Studio;

// The teleprompter's script and pace, in a small window of its own that opens while the
// studio's `showScript` is on. Keys typed here are the script's, never the studio's.
class ScriptEditor : public QWidget {
 public:
  ScriptEditor(Studio& studio, QWidget* owner);
  QPlainTextEdit* text() const { return text_; }
  QSpinBox* pace() const { return pace_; }

 private:
  void follow();

  Studio& studio_;
  QPlainTextEdit* text_;
  QSpinBox* pace_;
};

}  // namespace vorn
