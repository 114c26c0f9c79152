#include "hotkey/XTestKeyboard.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cstdlib>

namespace murvelo::test {

XTestKeyboard::XTestKeyboard(const std::string& display) {
  conn_ = xcb_connect(display.c_str(), nullptr);
  if (xcb_connection_has_error(conn_)) return;
  root_ = xcb_setup_roots_iterator(xcb_get_setup(conn_)).data->root;
}

XTestKeyboard::~XTestKeyboard() {
  if (conn_) xcb_disconnect(conn_);
}

bool XTestKeyboard::ok() const { return conn_ && !xcb_connection_has_error(conn_); }

void XTestKeyboard::key(int evdevCode, bool press) {
  if (!ok()) return;
  xcb_test_fake_input(conn_, press ? XCB_KEY_PRESS : XCB_KEY_RELEASE, static_cast<uint8_t>(evdevCode + 8),
                      XCB_CURRENT_TIME, root_, 0, 0, 0);
  // A round trip: the server has made the key's events by the time it answers.
  std::free(xcb_get_input_focus_reply(conn_, xcb_get_input_focus(conn_), nullptr));
}

}  // namespace murvelo::test
