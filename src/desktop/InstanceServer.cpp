#include "desktop/InstanceServer.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QLocalServer>
#include <QLocalSocket>
#include <cerrno>
#include <cstring>

#include "base/Log.h"

namespace murvelo::desktop {
namespace {

const Logger kLog("app");
constexpr qint64 kMaxRequestBytes = 256;

}  // namespace

InstanceServer::InstanceServer(std::string dir) : dir_(std::move(dir)) {}

InstanceServer::~InstanceServer() {
  if (server_) server_->close();  // removes the socket file
  if (lockFd_ >= 0) close(lockFd_);
}

QString InstanceServer::socketPath() const { return QString::fromStdString(dir_ + "/instance.sock"); }

InstanceServer::Claim InstanceServer::claim() {
  if (mkdir(dir_.c_str(), 0700) != 0 && errno != EEXIST) {
    problem_ = "cannot create " + dir_ + ": " + std::strerror(errno);
    return Claim::failed;
  }
  struct stat info {};
  // In a shared temp dir someone else could have made the folder first.
  if (lstat(dir_.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != geteuid()) {
    problem_ = dir_ + " is not a folder of this user";
    return Claim::failed;
  }
  if ((info.st_mode & 0077) != 0) chmod(dir_.c_str(), 0700);
  std::string lockPath = dir_ + "/instance.lock";
  lockFd_ = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lockFd_ < 0) {
    problem_ = "cannot open " + lockPath + ": " + std::strerror(errno);
    return Claim::failed;
  }
  // The lock goes with the process, however it ends, so a crashed copy never blocks the next.
  if (flock(lockFd_, LOCK_EX | LOCK_NB) != 0) {
    close(lockFd_);
    lockFd_ = -1;
    if (errno == EWOULDBLOCK) return Claim::otherRunning;
    problem_ = std::string("cannot lock ") + lockPath + ": " + std::strerror(errno);
    return Claim::failed;
  }
  // Holding the lock, any socket file left is stale.
  QLocalServer::removeServer(socketPath());
  server_ = std::make_unique<QLocalServer>();
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  if (!server_->listen(socketPath())) {
    problem_ = "cannot listen on " + socketPath().toStdString() + ": " + server_->errorString().toStdString();
    server_.reset();
    return Claim::failed;
  }
  connect(server_.get(), &QLocalServer::newConnection, this, &InstanceServer::accept);
  return Claim::claimed;
}

void InstanceServer::accept() {
  while (QLocalSocket* socket = server_->nextPendingConnection()) {
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
      if (!socket->canReadLine()) {
        if (socket->bytesAvailable() > kMaxRequestBytes) socket->abort();
        return;
      }
      QByteArray line = socket->readLine(kMaxRequestBytes);
      auto request = parseRequestLine(line.toStdString());
      std::string answer;
      if (!request)
        answer = "error: unknown request";
      else if (!handler_)
        answer = "error: not ready yet";
      else if (std::string failed = handler_(*request); !failed.empty())
        answer = "error: " + failed;
      else
        answer = "ok";
      kLog.info("instance request " + std::string(request ? requestLine(*request) : "unknown") + " -> " +
                answer);
      socket->write((answer + "\n").c_str());
      socket->flush();
      socket->disconnectFromServer();
    });
  }
}

bool InstanceServer::send(const QString& socketPath, InstanceRequest request, int timeoutMs,
                          std::string& reply) {
  QLocalSocket socket;
  socket.connectToServer(socketPath);
  if (!socket.waitForConnected(timeoutMs)) return false;
  socket.write((std::string(requestLine(request)) + "\n").c_str());
  if (!socket.waitForBytesWritten(timeoutMs)) return false;
  while (!socket.canReadLine())
    if (!socket.waitForReadyRead(timeoutMs)) return false;
  reply = socket.readLine(kMaxRequestBytes).trimmed().toStdString();
  return true;
}

}  // namespace murvelo::desktop
