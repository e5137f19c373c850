// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QUrl>

namespace vorn {

class Engine;
class ReelMaker;
class Studio;

// The tray icon and its menu. Texts, enabled items and the icon follow the studio's phase.
// Without a system tray the studio works all the same (the menu is then never shown).
class StatusMenu : public QObject {
  Q_OBJECT

 public:
  StatusMenu(Studio& studio, Engine& engine, ReelMaker& reels);

  // Shows the tray icon, now or (with one log line) once the desktop has a tray.
  void showInTray();
  // Offers a newer release: an "Update to VERSION…" item that opens `url`.
  void offerUpdate(const QString& version, const QUrl& url);
  QMenu& menu() { return menu_; }
  // "Quit Vorn", with its Ctrl+Q: a window that holds it takes the shortcut as well.
  QAction* quitAction() const { return quit_; }
  QIcon icon() const;

 Q_SIGNALS:
  void quitRequested();

 private:
  void refresh();

  Studio& studio_;
  Engine& engine_;
  ReelMaker& reels_;
  QMenu menu_;
  QSystemTrayIcon tray_;
  QTimer trayWatch_;
  QAction* show_;
  QAction* record_;
  QAction* takes_;
  QAction* latestReel_;
  QAction* closeSeparator_;
  QAction* close_;
  QAction* update_ = nullptr;
  QAction* quit_;
};

}  // namespace vorn
