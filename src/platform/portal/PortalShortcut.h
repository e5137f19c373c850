// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>
#include <Qt>

#include <QDBusObjectPath>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace vorn {

// A shortcut the desktop itself holds for Vorn, through the GlobalShortcuts portal: on Wayland
// no client may grab a key, so the desktop hears it and tells. The session is made with the
// shortcut in it (KDE binds only those) and it is bound again where the desktop did not take
// it then (which may show the desktop's own dialog, answered whenever the user likes). The
// desktop remembers the key the user gives it under Vorn's fixed session name.
class PortalShortcut : public QObject {
  Q_OBJECT

 public:
  // Whether the desktop's portal has GlobalShortcuts at all (a quick question on the bus).
  static bool offered();
  // Vorn's one shortcut, the one that starts and stops a take, asking for `qtKey` with
  // `modifiers` (the user may give it another); `pressed` runs on the GUI thread at each press.
  // Null (with one log line) when the portal gives no session within a few seconds. Blocks
  // until it answers.
  static std::unique_ptr<PortalShortcut> bind(int qtKey, Qt::KeyboardModifiers modifiers,
                                              std::function<void()> pressed);
  ~PortalShortcut() override;

  // The key as the portal's shortcuts are written ("CTRL+SHIFT+9").
  static QString trigger(int qtKey, Qt::KeyboardModifiers modifiers);

 private Q_SLOTS:
  void created(uint response, const QVariantMap& results);
  void bound(uint response, const QVariantMap& results);
  void activated(const QDBusObjectPath& session, const QString& id, qulonglong timestamp, const QVariantMap& options);
  void deactivated(const QDBusObjectPath& session, const QString& id, qulonglong timestamp, const QVariantMap& options);

 private:
  PortalShortcut(QString trigger, std::function<void()> pressed);
  bool createSession();
  void bindShortcut();
  bool answersTo(const QDBusObjectPath& session, const QString& id) const;

  QString trigger_;
  std::function<void()> pressed_;
  QString session_;
  std::optional<bool> created_;  // the session's answer, once it came
  // The last press not let go since: a held key repeats its press, and only the first counts.
  std::optional<std::chrono::steady_clock::time_point> pressedAt_;
};

}  // namespace vorn
