// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/StatusMenu.h"

#include "base/Log.h"
#include "controls/MenuLook.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "model/Takes.h"
#include "reels/ReelMaker.h"
#include "render/Icons.h"

#include <QDesktopServices>

namespace vorn {

StatusMenu::StatusMenu(Studio& studio, Engine& engine, ReelMaker& reels)
    : studio_(studio), engine_(engine), reels_(reels) {
  darkenMenu(menu_);
  show_ = menu_.addAction(QString(), &engine_, &Engine::showStudio);
  record_ = menu_.addAction(QString(), &engine_, &Engine::primaryAction);
  record_->setShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+9")));
  takes_ = menu_.addAction(tr("Show Takes in Files"), this, [] {
    try {
      QDesktopServices::openUrl(Takes::folder());
    } catch (const std::exception& error) {
      logError(std::string("takes folder: ") + error.what());
    }
  });
  latestReel_ = menu_.addAction(tr("Open Latest Reel"), this, [this] {
    if (const auto latest = reels_.latest())
      if (const auto job = reels_.job(Take{*latest, 0})) engine_.review(job->take);
  });
  closeSeparator_ = menu_.addSeparator();
  close_ = menu_.addAction(tr("Close Vorn"), &engine_, &Engine::close);
  menu_.addSeparator();
  quit_ = menu_.addAction(tr("Quit Vorn"), this, &StatusMenu::quitRequested);
  quit_->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));

  tray_.setToolTip(QStringLiteral("Vorn"));
  tray_.setContextMenu(&menu_);
  // Where the desktop draws the menu itself (a status notifier), it is not a window of Vorn's
  // to the display server: the take is told it is open, so that Follow holds.
  connect(&menu_, &QMenu::aboutToShow, this, [this] { engine_.setTrayMenuOpen(true); });
  connect(&menu_, &QMenu::aboutToHide, this, [this] { engine_.setTrayMenuOpen(false); });
  connect(&tray_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason why) {
    if (why == QSystemTrayIcon::Trigger) engine_.showStudio();
  });
  trayWatch_.setInterval(2000);
  connect(&trayWatch_, &QTimer::timeout, this, &StatusMenu::showInTray);
  connect(&studio_, &Studio::phaseChanged, this, &StatusMenu::refresh);
  connect(&reels_, &ReelMaker::latestChanged, this, &StatusMenu::refresh);
  refresh();
}

// A studio started with the session may come before the panel that holds the tray: the icon
// shows whenever a tray appears.
void StatusMenu::showInTray() {
  if (QSystemTrayIcon::isSystemTrayAvailable()) {
    trayWatch_.stop();
    tray_.show();
    return;
  }
  if (trayWatch_.isActive()) return;
  logError("no system tray on this desktop yet: the studio works without its menu (Ctrl+Shift+9 records)");
  trayWatch_.start();
}

void StatusMenu::offerUpdate(const QString& version, const QUrl& url) {
  if (!update_) update_ = new QAction(&menu_);
  menu_.insertAction(quit_, update_);
  update_->setText(tr("Update to %1…").arg(version));
  disconnect(update_, nullptr, nullptr, nullptr);
  connect(update_, &QAction::triggered, this, [url] { QDesktopServices::openUrl(url); });
}

// Icons by theme name, so that a panel can draw them in its own colours: the one-colour glyph
// (its drawing's middle grey reads on light and dark panels where nothing recolours it), and
// the theme's record symbol while recording.
QIcon StatusMenu::icon() const {
  if (studio_.phase() == Phase::recording)
    return QIcon::fromTheme(QStringLiteral("media-record"), symbolIcon("record.circle.fill"));
  return QIcon::fromTheme(QStringLiteral("vorn-symbolic"), QIcon(QStringLiteral(":/vorn/vorn-symbolic.svg")));
}


void StatusMenu::refresh() {
  const Phase phase = studio_.phase();
  const bool open = phase != Phase::idle;
  show_->setText(open ? tr("Show Vorn") : tr("Open Vorn"));
  record_->setText(phase == Phase::recording ? tr("Stop Recording") : tr("Record"));
  record_->setEnabled(phase != Phase::finishing);
  latestReel_->setEnabled(reels_.latest().has_value());
  closeSeparator_->setVisible(open);
  close_->setVisible(open);
  tray_.setIcon(icon());
}

}  // namespace vorn
