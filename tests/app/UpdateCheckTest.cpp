#include "app/UpdateCheck.h"

#include "support/Eventually.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <gtest/gtest.h>

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

// A one-shot HTTP server answering every request with `body` (and `status`).
class VersionServer {
 public:
  VersionServer(QByteArray status, QByteArray body) {
    server_.listen(QHostAddress::LocalHost);
    QObject::connect(&server_, &QTcpServer::newConnection, [this, status, body] {
      QTcpSocket* socket = server_.nextPendingConnection();
      QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, status, body] {
        socket->readAll();
        socket->write("HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: " +
                      QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
        socket->disconnectFromHost();
      });
    });
  }
  QUrl url() const { return QUrl(QString("http://127.0.0.1:%1/version.json").arg(server_.serverPort())); }

 private:
  QTcpServer server_;
};

TEST(UpdateCheckTest, offersANewerReleaseFromTheEndpointAndNothingElse) {
  struct Case {
    QByteArray status, body;
    bool offered;
  };
  const QByteArray newer = R"({"version":"9.0","url":"https://example.org/vorn-9"})";
  for (const Case& c : {Case{"200 OK", newer, true}, Case{"200 OK", R"({"version":"0.0.1","url":"https://x.org"})", false},
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

}  // namespace
}  // namespace vorn
