#pragma once

#include <string>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace murvelo::test {

// A private D-Bus session bus with the accessibility (AT-SPI) bus on it, in a temporary
// directory. While it runs, DBUS_SESSION_BUS_ADDRESS of this process points at it (children
// inherit it); the previous value comes back at destruction.
class AtspiSession {
 public:
  static constexpr const char* kBusLauncher = "/usr/libexec/at-spi-bus-launcher";

  // dbus-daemon and the AT-SPI bus launcher are installed.
  static bool available();

  AtspiSession() = default;
  ~AtspiSession();
  AtspiSession(const AtspiSession&) = delete;
  AtspiSession& operator=(const AtspiSession&) = delete;

  // Starts both buses and waits until the accessibility bus answers; false when it does not.
  bool start();
  const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_;
  ChildProcess sessionBus_;
  ChildProcess launcher_;
  std::string previous_;
  bool hadPrevious_ = false;
  bool exported_ = false;
};

}  // namespace murvelo::test
