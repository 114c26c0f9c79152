#include "support/XvfbServer.h"

#include <unistd.h>

namespace murvelo::test {
namespace {

constexpr const char* kProgram = "/usr/bin/Xvfb";

}  // namespace

bool XvfbServer::available() { return access(kProgram, X_OK) == 0; }

XvfbServer::~XvfbServer() { stop(); }

bool XvfbServer::start(int timeoutMs) {
  if (running()) return true;
  // Xvfb writes its display number to the descriptor once it accepts connections.
  std::string number = process_.startAndReadLine(
      {kProgram, "-displayfd", "{fd}", "-nolisten", "tcp", "-noreset", "-screen", "0", "1024x768x24"}, {},
      "/dev/null", std::chrono::milliseconds(timeoutMs));
  while (!number.empty() && number.back() == ' ') number.pop_back();
  if (number.empty()) {
    stop(true);
    return false;
  }
  display_ = ":" + number;
  return true;
}

void XvfbServer::stop(bool crash) {
  if (!running()) return;
  process_.stop(crash);
  if (!display_.empty()) {
    // A killed server leaves its lock and socket behind.
    const std::string number = display_.substr(1);
    unlink(("/tmp/.X" + number + "-lock").c_str());
    unlink(("/tmp/.X11-unix/X" + number).c_str());
  }
}

}  // namespace murvelo::test
