#include "support/AtspiSession.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "support/Pump.h"
#include "support/RunProcess.h"

namespace murvelo::test {

bool AtspiSession::available() {
  return access("/usr/bin/dbus-daemon", X_OK) == 0 && access("/usr/bin/dbus-send", X_OK) == 0 &&
         access(kBusLauncher, X_OK) == 0;
}

AtspiSession::~AtspiSession() {
  launcher_.stop();
  sessionBus_.stop();
  if (!exported_) return;
  if (hadPrevious_)
    setenv("DBUS_SESSION_BUS_ADDRESS", previous_.c_str(), 1);
  else
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

bool AtspiSession::start() {
  std::string address =
      sessionBus_.startAndReadLine({"/usr/bin/dbus-daemon", "--session", "--nofork",
                                    "--address=unix:path=" + (dir_ / "bus").string(), "--print-address={fd}"},
                                   {}, dir_ / "dbus.log");
  if (address.empty()) return false;

  std::filesystem::create_directories(dir_ / "runtime");
  std::map<std::string, std::optional<std::string>> env = {
      {"DBUS_SESSION_BUS_ADDRESS", address},
      {"DISPLAY", std::nullopt},
      {"HOME", dir_.path().string()},
      {"XDG_RUNTIME_DIR", (dir_ / "runtime").string()},
  };
  if (!launcher_.start({kBusLauncher, "--launch-immediately"}, env, dir_ / "launcher.log")) return false;

  std::map<std::string, std::string> busEnv = {{"DBUS_SESSION_BUS_ADDRESS", address}};
  auto asked = [&] {
    return runProcess("/usr/bin/dbus-send",
                      {"--session", "--print-reply", "--reply-timeout=500", "--dest=org.a11y.Bus",
                       "/org/a11y/bus", "org.a11y.Bus.GetAddress"},
                      busEnv)
               .exitCode == 0;
  };
  if (!waitUntil(asked, std::chrono::seconds(10))) return false;
  // Toolkits that ask whether accessibility is on get a yes.
  runProcess("/usr/bin/dbus-send",
             {"--session", "--print-reply", "--dest=org.a11y.Bus", "/org/a11y/bus",
              "org.freedesktop.DBus.Properties.Set", "string:org.a11y.Status", "string:IsEnabled",
              "variant:boolean:true"},
             busEnv);

  if (const char* previous = std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
    hadPrevious_ = true;
    previous_ = previous;
  }
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  exported_ = true;
  return true;
}

}  // namespace murvelo::test
