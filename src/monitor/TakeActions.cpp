// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/TakeActions.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>

namespace vorn::TakeActions {

void showInFiles(const QString& path, QObject* context, std::function<void()> unavailable) {
  const QUrl file = QUrl::fromLocalFile(path);
  const QUrl folder = QUrl::fromLocalFile(QFileInfo(path).absolutePath());
  const auto openFolder = [folder, unavailable] {
    if (!QDesktopServices::openUrl(folder)) unavailable();
  };
  QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
                                                     QStringLiteral("/org/freedesktop/FileManager1"),
                                                     QStringLiteral("org.freedesktop.FileManager1"),
                                                     QStringLiteral("ShowItems"));
  call << QStringList{file.toString()} << QString();
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return openFolder();
  auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 5000), context);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [watcher, openFolder] {
    if (watcher->isError()) openFolder();
    watcher->deleteLater();
  });
}

void copyFile(const QString& path) {
  const QUrl file = QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath());
  auto* data = new QMimeData;
  data->setUrls({file});
  // GNOME's and its relatives' file managers paste files from this form.
  data->setData(QStringLiteral("x-special/gnome-copied-files"), "copy\n" + file.toEncoded());
  data->setText(file.toLocalFile());
  QGuiApplication::clipboard()->setMimeData(data);
}

}  // namespace vorn::TakeActions
