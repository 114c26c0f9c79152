#pragma once

#include <string>

#include "support/ChildProcess.h"

namespace murvelo::test {

// A private X server (Xvfb) for tests and benchmarks on a display number it picks itself. It is
// killed when the object goes; DISPLAY is left alone, callers pass display() where they need it.
class XvfbServer {
 public:
  // The Xvfb program is installed.
  static bool available();

  XvfbServer() = default;
  ~XvfbServer();
  XvfbServer(const XvfbServer&) = delete;
  XvfbServer& operator=(const XvfbServer&) = delete;

  // Starts the server and waits until it accepts connections (at most `timeoutMs`).
  bool start(int timeoutMs = 10000);
  // Ends it: politely, or with SIGKILL as a crash would.
  void stop(bool crash = false);
  bool running() const { return process_.pid() > 0; }
  // ":N", for DISPLAY or a connection call.
  const std::string& display() const { return display_; }

 private:
  ChildProcess process_;
  std::string display_;
};

}  // namespace murvelo::test
