#include <gtest/gtest.h>
#include <stdlib.h>

#include <QApplication>
#include <iostream>

#include "desktop/DesktopTestEnvironment.h"
#include "support/TempDir.h"

// libdbus keeps a buffer for the life of the process (Qt's session bus connection); it is not
// ours, and not a leak that grows.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }

// Every test of the desktop program runs against one private X server and private XDG folders,
// never the user's own.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  murvelo::test::PrivateDisplay display;
  if (!display.ok()) {
    std::cerr << "cannot start Xvfb\n";
    return 1;
  }
  murvelo::test::TempDir home;
  std::filesystem::create_directories(home / "runtime");
  std::filesystem::permissions(home / "runtime", std::filesystem::perms::owner_all);
  setenv("DISPLAY", display.name().c_str(), 1);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  setenv("HOME", home.path().c_str(), 1);
  setenv("XDG_CONFIG_HOME", (home / "config").c_str(), 1);
  setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
  setenv("XDG_RUNTIME_DIR", (home / "runtime").c_str(), 1);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  unsetenv("WAYLAND_DISPLAY");
  QApplication app(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
