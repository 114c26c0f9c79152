#include "desktop/QtTestSupport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QWidget>

#include "desktop/DesktopTestEnvironment.h"

namespace murvelo::test {

bool spinUntil(const std::function<bool()>& done, int timeoutMs) {
  QElapsedTimer timer;
  timer.start();
  while (!done() && timer.elapsed() < timeoutMs) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
  return done();
}

void spin(int ms) {
  spinUntil([] { return false; }, ms);
}

void screenshot(QWidget& window, const std::string& name) {
  spin(150);
  auto path = QString::fromStdString((screenshotDir() / (name + ".png")).string());
  if (!window.grab().save(path)) ADD_FAILURE() << "cannot save " << path.toStdString();
}

}  // namespace murvelo::test
