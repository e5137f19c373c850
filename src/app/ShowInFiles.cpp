// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ShowInFiles.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace vorn {

void showInFiles(const QString& file) {
  const QString manager = QStringLiteral("org.freedesktop.FileManager1");
  QDBusMessage call = QDBusMessage::createMethodCall(manager, QStringLiteral("/org/freedesktop/FileManager1"),
                                                     manager, QStringLiteral("ShowItems"));
  call << QStringList{QUrl::fromLocalFile(file).toString()} << QString();
  auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [watcher, file] {
    watcher->deleteLater();
    if (watcher->isError()) QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(file).absolutePath()));
  });
}

}  // namespace vorn
