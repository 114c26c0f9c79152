#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <string>

#include "app/InstanceRequest.h"

class QLocalServer;

namespace murvelo::desktop {

// The single instance: the first copy holds a lock in a per-user folder and listens on a socket
// beside it; a later copy finds the lock taken and hands its request to the first.
class InstanceServer : public QObject {
 public:
  // What the running program answers a request with: empty for "ok", else the reason it failed.
  using Handler = std::function<std::string(InstanceRequest)>;

  explicit InstanceServer(std::string dir);
  ~InstanceServer() override;

  enum class Claim { claimed, otherRunning, failed };
  // Takes the lock and listens. `failed` (with problem()) when the folder is unusable.
  Claim claim();
  void setHandler(Handler handler) { handler_ = std::move(handler); }
  const std::string& problem() const { return problem_; }
  QString socketPath() const;

  // From a second copy: the running one's answer to `request`, bounded by `timeoutMs`.
  static bool send(const QString& socketPath, InstanceRequest request, int timeoutMs, std::string& reply);

 private:
  void accept();

  std::string dir_;
  int lockFd_ = -1;
  std::unique_ptr<QLocalServer> server_;
  Handler handler_;
  std::string problem_;
};

}  // namespace murvelo::desktop
