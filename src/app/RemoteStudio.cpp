// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/RemoteStudio.h"

#include "app/StudioService.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>

#include <cstdio>

namespace vorn {
namespace {

// A studio that has just won the name may still be building its windows before it answers.
constexpr int kAnswerTimeoutMs = 30000;

QString methodFor(StudioRequest request) {
  switch (request) {
    case StudioRequest::toggle: return QStringLiteral("Toggle");
    case StudioRequest::stop: return QStringLiteral("Stop");
    case StudioRequest::show: break;
  }
  return QStringLiteral("Show");
}

}  // namespace

int askRunningStudio(StudioRequest request) {
  const QDBusMessage call = QDBusMessage::createMethodCall(StudioService::name, StudioService::path,
                                                           StudioService::name, methodFor(request));
  const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kAnswerTimeoutMs);
  if (reply.type() == QDBusMessage::ErrorMessage) {
    std::fprintf(stderr, "vorn: %s\n",
                 qPrintable(QCoreApplication::translate("RemoteStudio", "The running studio didn't answer: %1")
                                .arg(reply.errorMessage())));
    return 1;
  }
  if (request == StudioRequest::show)
    std::printf("%s\n", qPrintable(QCoreApplication::translate(
                           "RemoteStudio", "Vorn is already running: its studio has been brought forward.")));
  return 0;
}

}  // namespace vorn
