// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class QToolButton;

namespace vorn {

class Engine;
class MoreMenu;
class ScriptEditor;
class Studio;

// The controls under the phone: the layout picker, the camera, microphone and follow toggles,
// the record button, the "More" menu and a one-line hint. Each is a thin view over the
// preferences and the engine; everything works from the keyboard (Tab, Space) as well.
class ControlDeck : public QWidget {
  Q_OBJECT

 public:
  ControlDeck(Studio& studio, Engine& engine, QWidget* parent);
  ~ControlDeck() override;

  MoreMenu* moreMenu() const { return more_; }
  ScriptEditor* scriptEditor() const { return editor_; }
  QPushButton* recordButton() const { return record_; }
  // The hint line for the studio's state.
  static QString hint(const Studio& studio);

 private:
  void refresh();

  Studio& studio_;
  Engine& engine_;
  std::vector<QToolButton*> layouts_;
  QToolButton *camera_, *mic_, *follow_;
  QPushButton* record_;
  QToolButton* moreButton_;
  QLabel* hint_;
  MoreMenu* more_;
  ScriptEditor* editor_;
};

}  // namespace vorn
