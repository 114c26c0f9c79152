#pragma once

#include <string>

struct xcb_connection_t;

namespace murvelo::test {

// Presses and releases keys on an X server through XTest, as a real keyboard would.
class XTestKeyboard {
 public:
  explicit XTestKeyboard(const std::string& display);
  ~XTestKeyboard();
  XTestKeyboard(const XTestKeyboard&) = delete;
  XTestKeyboard& operator=(const XTestKeyboard&) = delete;

  bool ok() const;
  // Keys by evdev code. Each call returns once the server has handled it.
  void press(int evdevCode);
  void release(int evdevCode);

 private:
  void send(bool press, int evdevCode);
  xcb_connection_t* conn_ = nullptr;
  unsigned root_ = 0;
};

}  // namespace murvelo::test
