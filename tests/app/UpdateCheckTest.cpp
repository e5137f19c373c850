// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/UpdateCheck.h"

#include "support/ChildProcess.h"
#include "support/Eventually.h"

#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>

namespace vorn {
namespace {

TEST(UpdateCheckTest, comparesDottedVersionsPartByPart) {
  struct Case {
    const char* offered;
    const char* current;
    bool newer;
  };
  for (const Case& c : std::initializer_list<Case>{{"0.2", "0.1", true},
                                                  {"0.1", "0.1", false},
                                                  {"0.1.0", "0.1", false},
                                                  {"0.1.1", "0.1", true},
                                                  {"1.10", "1.9", true},
                                                  {"1.9", "1.10", false},
                                                  {"0.0.9", "0.1", false}})
    EXPECT_EQ(UpdateCheck::isNewer(c.offered, c.current), c.newer) << c.offered << " vs " << c.current;
}

TEST(UpdateCheckTest, acceptsOnlyAWellFormedRelease) {
  EXPECT_TRUE(UpdateCheck::parse(R"({"version":"1.2.0","url":"https://example.org/vorn"})"));
  for (const char* body : {"", "garbage", "[]", R"({"version":"1.2"})", R"({"url":"https://x.org"})",
                           R"({"version":"1.2 beta","url":"https://x.org"})",
                           R"({"version":"1.2","url":"file:///etc/passwd"})",
                           R"({"version":2,"url":"https://x.org"})"})
    EXPECT_FALSE(UpdateCheck::parse(body)) << body;
}

// A certificate for 127.0.0.1 made by openssl, which this test process alone trusts.
QSslConfiguration localServerConfiguration() {
  static const QSslConfiguration configuration = [] {
    QTemporaryDir dir;
    const std::string key = dir.filePath("key.pem").toStdString(), cert = dir.filePath("cert.pem").toStdString();
    EXPECT_EQ(test::runCommand({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                                "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                                "-keyout", key, "-out", cert}),
              0);
    QFile keyFile(QString::fromStdString(key)), certFile(QString::fromStdString(cert));
    keyFile.open(QIODevice::ReadOnly);
    certFile.open(QIODevice::ReadOnly);
    const QSslCertificate certificate(certFile.readAll());
    QSslConfiguration client = QSslConfiguration::defaultConfiguration();
    client.addCaCertificate(certificate);
    QSslConfiguration::setDefaultConfiguration(client);
    QSslConfiguration server = QSslConfiguration::defaultConfiguration();
    server.setLocalCertificate(certificate);
    server.setPrivateKey(QSslKey(keyFile.readAll(), QSsl::Rsa));
    server.setPeerVerifyMode(QSslSocket::VerifyNone);
    return server;
  }();
  return configuration;
}

// A one-shot HTTPS server answering every request with `body` (and `status`); it counts the
// encrypted bytes that really left it.
class VersionServer {
 public:
  VersionServer(QByteArray status, QByteArray body) {
    server_.setSslConfiguration(localServerConfiguration());
    server_.listen(QHostAddress::LocalHost);
    QObject::connect(&server_, &QTcpServer::pendingConnectionAvailable, [this, status, body] {
      while (QTcpSocket* socket = server_.nextPendingConnection()) {
        QObject::connect(static_cast<QSslSocket*>(socket), &QSslSocket::encryptedBytesWritten, socket,
                         [this](qint64 bytes) { sent += bytes; });
        QObject::connect(socket, &QTcpSocket::disconnected, socket, [this] { closed = true; });
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, status, body] {
          socket->readAll();
          socket->write("HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: " +
                        QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
          socket->disconnectFromHost();
        });
      }
    });
  }
  QUrl url() const { return QUrl(QString("https://127.0.0.1:%1/version.json").arg(server_.serverPort())); }
  qint64 sent = 0;
  bool closed = false;

 private:
  QSslServer server_;
};

TEST(UpdateCheckTest, offersANewerReleaseFromTheEndpointAndNothingElse) {
  struct Case {
    QByteArray status, body;
    bool offered;
  };
  const QByteArray newer = R"({"version":"9.0","url":"https://example.org/vorn-9"})";
  for (const Case& c : {Case{"200 OK", newer, true}, Case{"200 OK", R"({"version":"0.0.1","url":"https://x.org"})", false},
                        Case{"200 OK", R"({"version":"9.0","url":"http://example.org/vorn-9"})", false},
                        Case{"404 Not Found", newer, false}, Case{"200 OK", "<html>", false}}) {
    VersionServer server(c.status, c.body);
    std::optional<UpdateCheck::Release> offered;
    bool done = false;
    UpdateCheck check(server.url(), "0.1", [&](const UpdateCheck::Release& r) { offered = r; });
    QObject::connect(&check, &UpdateCheck::finished, [&] { done = true; });
    ASSERT_TRUE(test::within(10, [&] { return done; }));
    EXPECT_EQ(offered.has_value(), c.offered) << c.status.toStdString() << " " << c.body.toStdString();
    if (c.offered) {
      EXPECT_EQ(offered->url, QUrl("https://example.org/vorn-9"));
    }
  }
}

// An answer far longer than a release is cut off, not read to its end.
TEST(UpdateCheckTest, aHugeAnswerIsAbandoned) {
  QByteArray huge = R"({"version":"9.0","url":"https://example.org/vorn-9","padding":")";
  huge += QByteArray(64 * 1024 * 1024, 'x') + "\"}";
  VersionServer server("200 OK", huge);
  std::optional<UpdateCheck::Release> offered;
  bool done = false;
  UpdateCheck check(server.url(), "0.1", [&](const UpdateCheck::Release& r) { offered = r; });
  QObject::connect(&check, &UpdateCheck::finished, [&] { done = true; });
  ASSERT_TRUE(test::within(60, [&] { return done; }));
  EXPECT_FALSE(offered);
  ASSERT_TRUE(test::within(60, [&] { return server.closed; }));
  EXPECT_LT(server.sent, huge.size() / 2) << "the answer was read to its end";
}

// A plain http endpoint is never asked: one line says so.
TEST(UpdateCheckTest, aPlainEndpointIsIgnoredWithOneLine) {
  qputenv("VORN_UPDATE_URL", "http://updates.example.org/version.json");
  testing::internal::CaptureStderr();
  EXPECT_TRUE(UpdateCheck::endpoint().isEmpty());
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("isn't https"), std::string::npos) << log;
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
  qputenv("VORN_UPDATE_URL", "https://updates.example.org/version.json");
  EXPECT_EQ(UpdateCheck::endpoint(), QUrl("https://updates.example.org/version.json"));
  qunsetenv("VORN_UPDATE_URL");
}

}  // namespace
}  // namespace vorn
