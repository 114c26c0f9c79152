#pragma once

#include <functional>
#include <string>

class QWidget;

namespace murvelo::test {

// Runs Qt's loop until `done` or the time runs out; whether `done` came.
bool spinUntil(const std::function<bool()>& done, int timeoutMs = 8000);
void spin(int ms);
// Saves a picture of the window as <build>/screenshots/<name>.png once it has painted.
void screenshot(QWidget& window, const std::string& name);

}  // namespace murvelo::test
