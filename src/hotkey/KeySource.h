#pragma once

#include <functional>
#include <string>

namespace murvelo {

// One report of a keyboard back-end about the key it watches: it went down, came up or
// auto-repeated, or, after a gap in the stream (start, reconnect, dropped events, a device
// re-added), its current state read from the device.
struct KeyEvent {
  enum class Kind { press, release, repeat, state };
  int code = 0;
  Kind kind = Kind::press;
  bool down = false;  // for `state` only
};

// Where the talk key's presses come from: XInput2 on X11, evdev elsewhere, a fake in tests.
// Every call is made on the main loop, and reports arrive there too; after stop() returns no
// report of the earlier start is delivered.
class KeySource {
 public:
  using Handler = std::function<void(const KeyEvent&)>;

  virtual ~KeySource() = default;

  // Begins watching one evdev key code; false when it cannot listen (no permission, no server),
  // with the reason and its fix in problem(). Reports the key's state soon after a successful start.
  virtual bool start(int keyCode, Handler handler) = 0;
  virtual void stop() = 0;
  // Asks for a fresh reading of the key; it arrives as a `state` report.
  virtual void requestState() = 0;
  // Started and still receiving events (the connection or the device watch is alive).
  virtual bool isLive() const = 0;
  // Whether this user may listen at all, without starting.
  virtual bool mayListen() const = 0;
  // What went wrong at the last start, and what the user can do about it; empty after success.
  virtual std::string problem() const = 0;
  // A short name for logs and the command line ("x11-xinput2", "evdev").
  virtual std::string name() const = 0;
};

}  // namespace murvelo
