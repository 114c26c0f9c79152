#include <unistd.h>
#include <xcb/xcb.h>

#include <QApplication>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "app/BuildInfo.h"
#include "base/linux/JournalLogSink.h"
#include "desktop/DesktopApp.h"

#if defined(__SANITIZE_ADDRESS__)
// libdbus keeps a buffer for the life of the process (Qt's session bus connection).
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }
#endif

namespace {

// Qt aborts when it cannot reach the display; say why and exit instead.
bool displayReachable() {
  const char* platform = std::getenv("QT_QPA_PLATFORM");
  if (platform && std::string_view(platform) != "xcb") return true;
  if (!platform && std::getenv("WAYLAND_DISPLAY")) return true;
  if (!std::getenv("DISPLAY")) return false;
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  bool ok = xcb_connection_has_error(connection) == 0;
  xcb_disconnect(connection);
  return ok;
}

// Qt ends the process with exit(1) when the X connection breaks, while our worker threads still
// run: leave at once rather than run static destructors under them.
std::atomic<bool> leavingNormally{false};

void leaveAtOnceUnlessNormal() {
  if (leavingNormally) return;
  std::fputs("murvelo: the display connection broke; exiting\n", stderr);
  std::fflush(stderr);
  _exit(1);
}

std::string programPath(const char* argv0) {
  std::error_code error;
  auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) return self.string();
  return std::filesystem::absolute(argv0, error).string();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && (std::string_view(argv[1]) == "--version" || std::string_view(argv[1]) == "--help")) {
    std::cout << "murvelo " MURVELO_VERSION " (" MURVELO_COMMIT ")\n"
              << (std::string_view(argv[1]) == "--help"
                      ? "Hold Right Alt, speak, let go: the words appear at the cursor. Runs in the tray;\n"
                        "starting it again opens the settings. See also murvelo-cli --help.\n"
                      : "");
    return 0;
  }
  murvelo::Log::setSink(
      murvelo::makeSystemLogSink(murvelo::Log::thresholdFromEnvironment(murvelo::LogLevel::notice)));
  if (!displayReachable()) {
    std::cerr << "murvelo: no display to show on (DISPLAY or WAYLAND_DISPLAY); without a desktop, "
                 "try `murvelo-cli dictate --wav FILE`\n";
    return 1;
  }
  QApplication app(argc, argv);
  QApplication::setApplicationName("Murvelo");
  QApplication::setDesktopFileName("com.murvelo.Murvelo");
  // The program lives in the tray: closing the settings window does not end it.
  QApplication::setQuitOnLastWindowClosed(false);

  std::atexit(leaveAtOnceUnlessNormal);
  int code = 0;
  {
    murvelo::desktop::DesktopApp desktop({programPath(argv[0]), static_cast<int>(getpid()), getuid()});
    auto early = desktop.launch();
    code = early ? *early : QApplication::exec();
  }
  leavingNormally = true;
  return code;
}
