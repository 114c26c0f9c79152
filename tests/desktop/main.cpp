#include <gtest/gtest.h>
#include <stdlib.h>

#include <QApplication>
#include <iostream>

#include "desktop/DesktopTestEnvironment.h"
#include "support/XvfbServer.h"

// libdbus keeps a buffer for the life of the process (Qt's session bus connection); it is not
// ours, and not a leak that grows.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }

// Every test of the desktop program runs against one private X server and private XDG folders,
// never the user's own.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  murvelo::test::XvfbServer display;
  if (!display.start()) {
    std::cerr << "cannot start Xvfb\n";
    return 1;
  }
  murvelo::test::ProgramHome home;
  setenv("DISPLAY", display.display().c_str(), 1);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  for (const auto& [name, value] : home.env) setenv(name.c_str(), value.c_str(), 1);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  unsetenv("WAYLAND_DISPLAY");
  QApplication app(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
