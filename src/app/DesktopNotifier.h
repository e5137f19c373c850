// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>

#include <map>

namespace vorn {

// Desktop notifications through org.freedesktop.Notifications on the session bus, each about
// one file, with a "Show in Files" action (clicking the notification itself does the same).
// Where no notification server runs, nothing is shown and nothing waits. GUI thread only.
class DesktopNotifier : public QObject {
  Q_OBJECT

 public:
  explicit DesktopNotifier(QObject* parent = nullptr);

  void notify(const QString& summary, const QString& body, const QString& file);

 private Q_SLOTS:
  void actionInvoked(uint id, const QString& action);
  void closed(uint id, uint reason);

 private:
  void act(const QString& file, const QString& action);

  std::map<uint, QString> files_;  // the file of each notification still on screen
  // A click the server reports before its answer to Notify has reached us, kept for that answer.
  std::map<uint, QString> early_;
  int unanswered_ = 0;
};

}  // namespace vorn
