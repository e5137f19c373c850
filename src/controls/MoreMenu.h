// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Prefs.h"

#include <QMenu>

#include <functional>
#include <utility>
#include <vector>

namespace vorn {

class Engine;
class Studio;

// "More": every setting the deck has no button for, rebuilt each time it opens so that its
// devices, displays and checks are the current ones.
class MoreMenu : public QMenu {
  Q_OBJECT

 public:
  MoreMenu(Studio& studio, Engine& engine, QWidget* parent);
  // Fills the menu for the studio's state now (also what opening it does).
  void rebuild();

 private:
  template <class T>
  void addPicker(const QString& title, const std::vector<std::pair<QString, T>>& options, const T& current,
                 std::function<void(Prefs&, const T&)> set, const QString& whyEmpty = {});
  // A submenu with nothing to choose says why in one disabled entry instead of opening empty.
  static void sayWhyEmpty(QMenu& menu, const QString& why);
  void addDisplays();
  void addCheck(const QString& label, bool on, std::function<void(Prefs&, bool)> set, const QString& help = {});

  Studio& studio_;
  Engine& engine_;
};

}  // namespace vorn
