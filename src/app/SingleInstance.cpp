#include "app/SingleInstance.h"

#include "base/Log.h"

#include <QLocalSocket>
#include <QStandardPaths>

namespace vorn {
namespace {

// In the user's runtime folder: private to the user, gone at log-out.
QString socketPath() {
  QString dir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
  return dir + "/vorn-studio";
}

}  // namespace

bool SingleInstance::handOver() {
  QLocalSocket socket;
  socket.connectToServer(socketPath());
  // A socket left by a studio that crashed refuses at once; a live one answers in microseconds.
  if (!socket.waitForConnected(500)) return false;
  socket.write("show\n");
  return socket.waitForBytesWritten(500);
}

SingleInstance::SingleInstance(std::function<void()> onStart) {
  QLocalServer::removeServer(socketPath());  // left by a studio that did not end cleanly
  server_.setSocketOptions(QLocalServer::UserAccessOption);
  if (!server_.listen(socketPath())) {
    logError("cannot listen for later starts: " + server_.errorString().toStdString());
    return;
  }
  connect(&server_, &QLocalServer::newConnection, this, [this, onStart = std::move(onStart)] {
    while (QLocalSocket* socket = server_.nextPendingConnection()) {
      connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
      debugLine("Vorn: brought forward by a second start");
      onStart();
    }
  });
}

}  // namespace vorn
