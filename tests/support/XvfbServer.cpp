#include "support/XvfbServer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>

namespace murvelo::test {

bool XvfbServer::available() { return access("/usr/bin/Xvfb", X_OK) == 0; }

bool XvfbServer::start() {
  int ready[2];
  if (pipe2(ready, O_CLOEXEC) != 0) return false;
  // -displayfd picks a free display and writes its number once the server accepts clients.
  bool started = process_.start({"/usr/bin/Xvfb", "-displayfd", std::to_string(ready[1]), "-screen", "0",
                                 "1024x768x24", "-nolisten", "tcp", "-noreset"},
                                {}, dir_ / "xvfb.log", ready[1]);
  close(ready[1]);
  std::string number;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  while (started && std::chrono::steady_clock::now() < deadline) {
    pollfd poll{ready[0], POLLIN, 0};
    if (::poll(&poll, 1, 100) <= 0) continue;
    char c = 0;
    if (read(ready[0], &c, 1) != 1) break;
    if (c == '\n') break;
    number += c;
  }
  close(ready[0]);
  if (number.empty()) {
    process_.stop();
    return false;
  }
  display_ = ":" + number;
  return true;
}

}  // namespace murvelo::test
