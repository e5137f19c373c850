// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QUrl>

#include <functional>
#include <optional>

namespace vorn {

// Asks a version endpoint whether a newer release exists. The endpoint answers
// {"version": "1.2.0", "url": "https://…"} in at most 64 KB. Off when none is configured;
// never blocks start-up, and any failure is silent (one debug line). Both the endpoint and the
// link must be https: a plain one is ignored with one log line.
class UpdateCheck : public QObject {
  Q_OBJECT

 public:
  struct Release {
    QString version;
    QUrl url;
  };

  // VORN_UPDATE_URL, else the endpoint the build was configured with; empty: no check (also
  // for one that isn't https).
  static QUrl endpoint();
  // The release an answer names; nothing for anything but a well-formed answer with an https
  // link.
  static std::optional<Release> parse(const QByteArray& body);
  // Dotted version numbers compared part by part ("1.10" is newer than "1.9").
  static bool isNewer(const QString& offered, const QString& current);

  // Asks `endpoint` once; `onNewer` runs on the GUI thread when it names a version newer than
  // `current`.
  UpdateCheck(const QUrl& endpoint, const QString& current, std::function<void(const Release&)> onNewer);

 Q_SIGNALS:
  // The answer has been read (or the request failed).
  void finished();

 private:
  void read(QNetworkReply* reply, const QString& current, const std::function<void(const Release&)>& onNewer);

  QNetworkAccessManager network_;
};

}  // namespace vorn
