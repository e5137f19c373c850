// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/StudioService.h"

#include "base/Log.h"
#include "engine/Engine.h"
#include "model/Studio.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

namespace vorn {

namespace {

// The phase as the bus shows it: the names the studio's own state uses.
QString phaseName(vorn::Phase phase) {
  switch (phase) {
    case vorn::Phase::idle: return QStringLiteral("idle");
    case vorn::Phase::framing: return QStringLiteral("framing");
    case vorn::Phase::countdown: return QStringLiteral("countdown");
    case vorn::Phase::recording: return QStringLiteral("recording");
    case vorn::Phase::finishing: return QStringLiteral("finishing");
    case vorn::Phase::review: break;
  }
  return QStringLiteral("review");
}

}  // namespace

const QString StudioService::name = QStringLiteral("org.vorn.Vorn");
const QString StudioService::path = QStringLiteral("/org/vorn/Vorn");

StudioService::Claim StudioService::claim() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    logError("no session bus (" + bus.lastError().message().toStdString() +
             "): this studio can't be reached by vorn --toggle, and a second one may start");
    return Claim::noBus;
  }
  bus.registerObject(path, this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties);
  // Not queued: a studio that loses the name hands over at once rather than waiting its turn.
  const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply = bus.interface()->registerService(
      name, QDBusConnectionInterface::DontQueueService, QDBusConnectionInterface::DontAllowReplacement);
  if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) return Claim::owned;
  bus.unregisterObject(path);
  return Claim::taken;
}

void StudioService::attach(Engine& engine, Studio& studio) {
  engine_ = &engine;
  studio_ = &studio;
  connect(&studio, &Studio::phaseChanged, this, [this] {
    if (studio_->phase() == vorn::Phase::idle) firstFrame_ = inputsConfigured_ = recordWhenReady_ = false;
    announcePhase();
  });
  connect(&engine, &Engine::opened, this, [this](bool ok) {
    if (!ok) recordWhenReady_ = false;
  });
  connect(&engine, &Engine::firstFrame, this, [this] {
    firstFrame_ = true;
    sessionReady();
  });
  connect(&engine, &Engine::inputsConfigured, this, [this] {
    inputsConfigured_ = studio_->phase() != vorn::Phase::idle;
    sessionReady();
  });
}

QString StudioService::phase() const {
  return phaseName(studio_ ? studio_->phase() : vorn::Phase::idle);
}

void StudioService::Toggle() {
  if (!studio_) return;
  switch (studio_->phase()) {
    case vorn::Phase::countdown:
    case vorn::Phase::recording: return Stop();
    case vorn::Phase::finishing: return;
    default: return Record();
  }
}

void StudioService::Record() {
  if (!engine_) return;
  if (studio_->phase() == vorn::Phase::review) engine_->primaryAction();  // back to framing
  const vorn::Phase phase = studio_->phase();
  if (phase != vorn::Phase::idle && phase != vorn::Phase::framing) return;
  recordWhenReady_ = true;
  if (phase == vorn::Phase::idle) engine_->open();  // records once the session is ready
  else sessionReady();
}

void StudioService::Stop() {
  if (!engine_) return;
  if (studio_->phase() == vorn::Phase::countdown) engine_->recording().cancelCountdown();
  if (studio_->phase() == vorn::Phase::recording) engine_->recording().stop();
}

void StudioService::Show() {
  if (engine_) engine_->showStudio();
}

void StudioService::Quit() { Q_EMIT quitRequested(); }

void StudioService::sessionReady() {
  if (!recordWhenReady_ || !firstFrame_ || !inputsConfigured_) return;
  recordWhenReady_ = false;
  engine_->recording().beginCountdown();
}

void StudioService::announcePhase() {
  QDBusMessage changed = QDBusMessage::createSignal(path, QStringLiteral("org.freedesktop.DBus.Properties"),
                                                    QStringLiteral("PropertiesChanged"));
  changed << QStringLiteral("org.vorn.Vorn") << QVariantMap{{QStringLiteral("Phase"), phase()}} << QStringList{};
  QDBusConnection::sessionBus().send(changed);
}

}  // namespace vorn
