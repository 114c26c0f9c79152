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
  // Presses or releases a key by evdev code; returns once the server has handled it.
  void key(int evdevCode, bool press);

 private:
  xcb_connection_t* conn_ = nullptr;
  unsigned root_ = 0;
};

}  // namespace murvelo::test
