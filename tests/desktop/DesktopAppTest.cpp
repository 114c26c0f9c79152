#include <gtest/gtest.h>
#include <unistd.h>

#include <QAction>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <cstdlib>

#include "desktop/DesktopApp.h"
#include "desktop/TrayMenu.h"

namespace murvelo::desktop {
namespace {

// A Wayland session without access to the keyboards: nothing listens to the talk key, and the
// tray must not claim otherwise nor offer to pause what does not run.
TEST(DesktopApp, TrayTellsWhenTheTalkKeyIsNotListenedTo) {
  setenv("WAYLAND_DISPLAY", "murvelo-test-absent", 1);
  {
    DesktopApp app({"/usr/bin/murvelo", static_cast<int>(getpid()), getuid()});
    ASSERT_FALSE(app.launch());
    // Without a tray host the status first carries the one-time notice for a few seconds.
    auto status = [&] { return app.tray().statusAction()->text(); };
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 10000 && (status().startsWith("Run murvelo") || timer.elapsed() < 300))
      QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_TRUE(status().contains("not listened to")) << status().toStdString();
    EXPECT_FALSE(app.tray().pauseAction()->isEnabled());
  }
  unsetenv("WAYLAND_DISPLAY");
}

}  // namespace
}  // namespace murvelo::desktop
