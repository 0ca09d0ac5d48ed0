#include "ui/launch/SingleWindow.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>

namespace sonmere {
namespace {

// How long the one that runs may take to answer, as while it starts itself.
constexpr int kPatienceMilliseconds = 3000;
constexpr int kTryMilliseconds = 100;
constexpr qint64 kMostBytes = 1 << 20;

void makePrivate(const QString& folder) {
  QDir().mkpath(folder);
  QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

}  // namespace

SingleWindow::SingleWindow(const QString& folder)
    : path_(folder + QStringLiteral("/window.sock")), lock_(folder + QStringLiteral("/window.lock")) {
  makePrivate(folder);
  // A lock whose process is gone is taken over, however old it is.
  lock_.setStaleLockTime(0);
  connect(&server_, &QLocalServer::newConnection, this, [this] {
    while (QLocalSocket* socket = server_.nextPendingConnection()) take(socket);
  });
}

bool SingleWindow::claim(const QStringList& files) {
  QElapsedTimer waited;
  waited.start();
  do {
    // One that starts has the lock a moment before it listens.
    if (lock_.tryLock(kTryMilliseconds)) return listen(), true;
    if (handOver(files)) return false;
  } while (waited.elapsed() < kPatienceMilliseconds);
  // The other one hangs, or the folder can't be written to: better two windows than none.
  return true;
}

bool SingleWindow::handOver(const QStringList& files) const {
  QLocalSocket socket;
  socket.connectToServer(path_);
  if (!socket.waitForConnected(kTryMilliseconds)) return false;
  socket.write(QJsonDocument(QJsonArray::fromStringList(files)).toJson(QJsonDocument::Compact) + '\n');
  return socket.waitForBytesWritten(kPatienceMilliseconds) && socket.waitForReadyRead(kPatienceMilliseconds);
}

void SingleWindow::listen() {
  server_.setSocketOptions(QLocalServer::UserAccessOption);
  QLocalServer::removeServer(path_);
  server_.listen(path_);
}

void SingleWindow::take(QLocalSocket* socket) {
  connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
  connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
    if (socket->bytesAvailable() > kMostBytes) return socket->abort();
    if (!socket->canReadLine()) return;
    const QJsonDocument told = QJsonDocument::fromJson(socket->readLine());
    QStringList files;
    for (const QJsonValue& file : told.array()) files << file.toString();
    files.removeAll(QString());
    socket->write("ok\n");
    socket->flush();
    emit asked(files);
  });
}

}  // namespace sonmere
