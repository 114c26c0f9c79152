#pragma once

#include <string>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace murvelo::test {

// A private X server (Xvfb) on a free display, for tests that need real windows.
class XvfbServer {
 public:
  // The Xvfb program is installed.
  static bool available();

  // Starts the server and waits until it accepts clients; false when it does not.
  bool start();
  void stop() { process_.stop(); }
  // ":N", empty before start().
  const std::string& display() const { return display_; }

 private:
  TempDir dir_;
  ChildProcess process_;
  std::string display_;
};

}  // namespace murvelo::test
