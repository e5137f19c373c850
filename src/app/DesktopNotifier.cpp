// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/DesktopNotifier.h"

#include "base/Log.h"
#include "monitor/TakeActions.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace vorn {
namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kShowInFiles = QStringLiteral("show-in-files");

}  // namespace

DesktopNotifier::DesktopNotifier(QObject* parent) : QObject(parent) {
  QDBusConnection bus = QDBusConnection::sessionBus();
  bus.connect(kService, kPath, kService, QStringLiteral("ActionInvoked"), this, SLOT(actionInvoked(uint, QString)));
  bus.connect(kService, kPath, kService, QStringLiteral("NotificationClosed"), this, SLOT(closed(uint, uint)));
}

void DesktopNotifier::notify(const QString& summary, const QString& body, const QString& file) {
  QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("Notify"));
  // "default" is the notification's own click.
  const QStringList actions{QStringLiteral("default"), tr("Show in Files"), kShowInFiles,
                            tr("Show in Files")};
  call << QStringLiteral("Vorn") << uint(0) << QStringLiteral("vorn") << summary << body << actions
       << QVariantMap{{QStringLiteral("desktop-entry"), QStringLiteral("vorn")}} << int(-1);
  auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
  ++unanswered_;
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, file] {
    watcher->deleteLater();
    const QDBusPendingReply<uint> reply = *watcher;
    if (reply.isValid()) {
      files_[reply.value()] = file;
      if (const auto early = early_.find(reply.value()); early != early_.end()) act(file, early->second);
    }
    if (--unanswered_ == 0) early_.clear();
  });
}

void DesktopNotifier::actionInvoked(uint id, const QString& action) {
  const auto found = files_.find(id);
  if (found != files_.end()) return act(found->second, action);
  // Perhaps ours, its id not yet known; otherwise another application's notification.
  if (unanswered_ > 0) early_[id] = action;
}

void DesktopNotifier::act(const QString& file, const QString& action) {
  if (action == kShowInFiles || action == QStringLiteral("default"))
    TakeActions::showInFiles(file, this, [] { logError("no file manager is available"); });
}

void DesktopNotifier::closed(uint id, uint) { files_.erase(id); }

}  // namespace vorn
