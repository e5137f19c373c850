// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/UpdateCheck.h"

#include "base/Log.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace vorn {
namespace {

// A version and a link are a few hundred bytes: a longer answer is not read to its end.
constexpr qint64 kLongestAnswer = 64 * 1024;

// Only https: anyone on the way could change a plain answer and offer their own download.
bool isSecure(const QUrl& url) { return url.scheme() == QStringLiteral("https"); }

}  // namespace

QUrl UpdateCheck::endpoint() {
  const QString configured = qEnvironmentVariable("VORN_UPDATE_URL", QStringLiteral(VORN_UPDATE_URL));
  const QUrl url(configured, QUrl::StrictMode);
  if (configured.isEmpty() || isSecure(url)) return url;
  logError("the update endpoint " + configured.toStdString() + " isn't https, so updates aren't checked");
  return {};
}

std::optional<UpdateCheck::Release> UpdateCheck::parse(const QByteArray& body) {
  const QJsonObject answer = QJsonDocument::fromJson(body).object();
  const QString version = answer.value("version").toString();
  const QUrl url(answer.value("url").toString(), QUrl::StrictMode);
  static const QRegularExpression dotted(QStringLiteral("^\\d+(\\.\\d+)*$"));
  if (!dotted.match(version).hasMatch() || !url.isValid()) return std::nullopt;
  if (!isSecure(url)) {
    logError("the update's link " + url.toString().toStdString() + " isn't https, so it is ignored");
    return std::nullopt;
  }
  return Release{version, url};
}

bool UpdateCheck::isNewer(const QString& offered, const QString& current) {
  const QStringList a = offered.split('.'), b = current.split('.');
  for (qsizetype i = 0; i < std::max(a.size(), b.size()); ++i) {
    const qlonglong x = i < a.size() ? a[i].toLongLong() : 0;
    const qlonglong y = i < b.size() ? b[i].toLongLong() : 0;
    if (x != y) return x > y;
  }
  return false;
}

UpdateCheck::UpdateCheck(const QUrl& endpoint, const QString& current,
                         std::function<void(const Release&)> onNewer) {
  network_.setTransferTimeout(15000);
  QNetworkReply* reply = network_.get(QNetworkRequest(endpoint));
  reply->setReadBufferSize(kLongestAnswer + 1);
  connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64 total) {
    if (received > kLongestAnswer || total > kLongestAnswer) reply->abort();
  });
  connect(reply, &QNetworkReply::finished, this, [this, reply, current, onNewer = std::move(onNewer)] {
    reply->deleteLater();
    read(reply, current, onNewer);
    Q_EMIT finished();
  });
}

void UpdateCheck::read(QNetworkReply* reply, const QString& current,
                       const std::function<void(const Release&)>& onNewer) {
  if (reply->error() != QNetworkReply::NoError) {
    debugLine("Vorn: update check failed: " + reply->errorString().toStdString());
    return;
  }
  const auto release = parse(reply->read(kLongestAnswer));
  if (!release) {
    debugLine("Vorn: update check: the answer is not a release");
    return;
  }
  if (isNewer(release->version, current)) onNewer(*release);
}

}  // namespace vorn
