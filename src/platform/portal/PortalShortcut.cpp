// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/portal/PortalShortcut.h"

#include "base/Log.h"

#include <algorithm>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QKeySequence>
#include <QTimer>

namespace vorn {
namespace {

const QString kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kDesktopPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kShortcuts = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");
// The desktop files the user's key under this name: the same every run, or the key is lost.
const QString kSessionToken = QStringLiteral("vorn");
const QString kShortcutId = QStringLiteral("toggle");
constexpr int kAnswerMs = 5000;
// Presses closer than this with no release between are the held key repeating.
constexpr std::chrono::seconds kRepeatGap{1};

struct Shortcut {
  QString id;
  QVariantMap properties;
};
using Shortcuts = QList<Shortcut>;

QDBusArgument& operator<<(QDBusArgument& argument, const Shortcut& shortcut) {
  argument.beginStructure();
  argument << shortcut.id << shortcut.properties;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Shortcut& shortcut) {
  argument.beginStructure();
  argument >> shortcut.id >> shortcut.properties;
  argument.endStructure();
  return argument;
}

}  // namespace
}  // namespace vorn

Q_DECLARE_METATYPE(vorn::Shortcut)
Q_DECLARE_METATYPE(vorn::Shortcuts)

namespace vorn {
namespace {

QDBusConnection bus() { return QDBusConnection::sessionBus(); }

Shortcuts ourShortcut(const QString& trigger) {
  qDBusRegisterMetaType<Shortcut>();
  qDBusRegisterMetaType<Shortcuts>();
  return {{kShortcutId,
           {{QStringLiteral("description"), QStringLiteral("Start or stop a take")},
            {QStringLiteral("preferred_trigger"), trigger}}}};
}

// Whether the shortcuts a response lists hold ours.
bool listsOurs(const QVariantMap& results) {
  const QVariant listed = results.value(QStringLiteral("shortcuts"));
  if (!listed.canConvert<QDBusArgument>()) return false;
  Shortcuts shortcuts;
  listed.value<QDBusArgument>() >> shortcuts;
  return std::any_of(shortcuts.begin(), shortcuts.end(), [](const Shortcut& s) { return s.id == kShortcutId; });
}

// Where the portal will answer a request made with `token` (its path is known in advance, so
// the answer can be listened for before the request is sent).
QString requestPath(const QString& token) {
  QString sender = bus().baseService().mid(1);
  sender.replace(QLatin1Char('.'), QLatin1Char('_'));
  return kDesktopPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
}

QString nextToken() {
  static int count = 0;
  return QStringLiteral("vorn_shortcut_%1").arg(++count);
}

}  // namespace

bool PortalShortcut::offered() {
  QDBusMessage ask = QDBusMessage::createMethodCall(kPortal, kDesktopPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                                    QStringLiteral("Get"));
  ask << kShortcuts << QStringLiteral("version");
  const QDBusMessage reply = bus().call(ask, QDBus::Block, kAnswerMs);
  return reply.type() == QDBusMessage::ReplyMessage;
}

QString PortalShortcut::trigger(int qtKey, Qt::KeyboardModifiers modifiers) {
  QStringList parts;
  if (modifiers & Qt::ControlModifier) parts << QStringLiteral("CTRL");
  if (modifiers & Qt::AltModifier) parts << QStringLiteral("ALT");
  if (modifiers & Qt::ShiftModifier) parts << QStringLiteral("SHIFT");
  if (modifiers & Qt::MetaModifier) parts << QStringLiteral("LOGO");
  parts << QKeySequence(qtKey).toString(QKeySequence::PortableText);
  return parts.join(QLatin1Char('+'));
}

PortalShortcut::PortalShortcut(QString trigger, std::function<void()> pressed)
    : trigger_(std::move(trigger)), pressed_(std::move(pressed)) {}

std::unique_ptr<PortalShortcut> PortalShortcut::bind(int qtKey, Qt::KeyboardModifiers modifiers,
                                                     std::function<void()> pressed) {
  std::unique_ptr<PortalShortcut> shortcut(new PortalShortcut(trigger(qtKey, modifiers), std::move(pressed)));
  if (!shortcut->createSession()) return nullptr;
  return shortcut;
}

PortalShortcut::~PortalShortcut() {
  if (!created_ || !*created_) return;
  // Waited for: a session made next under the same name must not meet this one.
  bus().call(QDBusMessage::createMethodCall(kPortal, session_, QStringLiteral("org.freedesktop.portal.Session"),
                                            QStringLiteral("Close")),
             QDBus::Block, kAnswerMs);
}

bool PortalShortcut::createSession() {
  const QString token = nextToken();
  bus().connect(kPortal, requestPath(token), kRequest, QStringLiteral("Response"), this,
                SLOT(created(uint, QVariantMap)));
  QDBusMessage create = QDBusMessage::createMethodCall(kPortal, kDesktopPath, kShortcuts, QStringLiteral("CreateSession"));
  create << QVariantMap{{QStringLiteral("handle_token"), token},
                        {QStringLiteral("session_handle_token"), kSessionToken},
                        {QStringLiteral("shortcuts"), QVariant::fromValue(ourShortcut(trigger_))}};
  const QDBusMessage sent = bus().call(create, QDBus::Block, kAnswerMs);
  if (sent.type() != QDBusMessage::ReplyMessage) {
    logError("The desktop gave Vorn no shortcut: " + sent.errorMessage().toStdString());
    return false;
  }
  // The answer is a signal; the studio's windows wait for it, so that their texts name the
  // key only where there is one.
  QElapsedTimer waited;
  waited.start();
  QTimer wake;
  wake.start(50);
  while (!created_ && waited.elapsed() < kAnswerMs) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  if (!created_ || !*created_) {
    logError("The desktop gave Vorn no shortcut: its portal did not open a session");
    return false;
  }
  bus().connect(kPortal, kDesktopPath, kShortcuts, QStringLiteral("Activated"), this,
                SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
  bus().connect(kPortal, kDesktopPath, kShortcuts, QStringLiteral("Deactivated"), this,
                SLOT(deactivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
  return true;
}

void PortalShortcut::created(uint response, const QVariantMap& results) {
  const QVariant handle = results.value(QStringLiteral("session_handle"));
  // A string on some desktops, an object path on others.
  session_ = handle.canConvert<QDBusObjectPath>() && !handle.value<QDBusObjectPath>().path().isEmpty()
                 ? handle.value<QDBusObjectPath>().path()
                 : handle.toString();
  created_ = response == 0 && !session_.isEmpty();
  if (*created_ && !listsOurs(results)) bindShortcut();
}

void PortalShortcut::bindShortcut() {
  const QString token = nextToken();
  bus().connect(kPortal, requestPath(token), kRequest, QStringLiteral("Response"), this,
                SLOT(bound(uint, QVariantMap)));
  QDBusMessage bind = QDBusMessage::createMethodCall(kPortal, kDesktopPath, kShortcuts, QStringLiteral("BindShortcuts"));
  bind << QVariant::fromValue(QDBusObjectPath(session_)) << QVariant::fromValue(ourShortcut(trigger_)) << QString()
       << QVariantMap{{QStringLiteral("handle_token"), token}};
  bus().call(bind, QDBus::NoBlock);
}

void PortalShortcut::bound(uint response, const QVariantMap& results) {
  if (response != 0 || !listsOurs(results))
    logError("The desktop did not bind Vorn's shortcut; record from the tray or the studio");
}

bool PortalShortcut::answersTo(const QDBusObjectPath& session, const QString& id) const {
  return session.path() == session_ && id == kShortcutId;
}

void PortalShortcut::activated(const QDBusObjectPath& session, const QString& id, qulonglong, const QVariantMap&) {
  // The signal goes to every client on the bus.
  if (!answersTo(session, id)) return;
  const auto now = std::chrono::steady_clock::now();
  const bool repeat = pressedAt_ && now - *pressedAt_ < kRepeatGap;
  pressedAt_ = now;
  if (!repeat && pressed_) pressed_();
}

void PortalShortcut::deactivated(const QDBusObjectPath& session, const QString& id, qulonglong, const QVariantMap&) {
  if (answersTo(session, id)) pressedAt_.reset();
}

}  // namespace vorn
