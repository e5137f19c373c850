#include "app/UpdateCheck.h"

#include "base/Log.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace vorn {

QUrl UpdateCheck::endpoint() {
  const QString configured = qEnvironmentVariable("VORN_UPDATE_URL", QStringLiteral(VORN_UPDATE_URL));
  return QUrl(configured, QUrl::StrictMode);
}

std::optional<UpdateCheck::Release> UpdateCheck::parse(const QByteArray& body) {
  const QJsonObject answer = QJsonDocument::fromJson(body).object();
  const QString version = answer.value("version").toString();
  const QUrl url(answer.value("url").toString(), QUrl::StrictMode);
  static const QRegularExpression dotted(QStringLiteral("^\\d+(\\.\\d+)*$"));
  if (!dotted.match(version).hasMatch() || !url.isValid() ||
      (url.scheme() != "https" && url.scheme() != "http"))
    return std::nullopt;
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
  const auto release = parse(reply->read(64 * 1024));
  if (!release) {
    debugLine("Vorn: update check: the answer is not a release");
    return;
  }
  if (isNewer(release->version, current)) onNewer(*release);
}

}  // namespace vorn
