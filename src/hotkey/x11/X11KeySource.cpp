#include "hotkey/x11/X11KeySource.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("hotkey");

// X key codes are evdev codes shifted by 8, and stop at 255.
constexpr int kXKeyCodeOffset = 8;
constexpr int kMaxXKeyCode = 255;

struct RawKeyMask {
  xcb_input_event_mask_t head;
  uint32_t mask;
};

std::string displayName(const std::string& display) {
  if (!display.empty()) return display;
  const char* env = std::getenv("DISPLAY");
  return env ? env : "";
}

// Opens a connection and selects raw key events of all master keyboards on the root window.
xcb_connection_t* connectAndSelect(const std::string& display, uint8_t* xiOpcode, std::string& why) {
  const std::string name = displayName(display);
  if (name.empty()) {
    why = "no X display (DISPLAY is not set)";
    return nullptr;
  }
  int screenNumber = 0;
  xcb_connection_t* conn = xcb_connect(name.c_str(), &screenNumber);
  if (xcb_connection_has_error(conn)) {
    xcb_disconnect(conn);
    why = "cannot connect to the X display " + name;
    return nullptr;
  }
  auto fail = [&](std::string reason) {
    xcb_disconnect(conn);
    why = std::move(reason);
    return nullptr;
  };
  const xcb_query_extension_reply_t* extension = xcb_get_extension_data(conn, &xcb_input_id);
  if (!extension || !extension->present) return fail("the X server on " + name + " has no XInput extension");
  xcb_input_xi_query_version_reply_t* version =
      xcb_input_xi_query_version_reply(conn, xcb_input_xi_query_version(conn, 2, 2), nullptr);
  const bool recent = version && version->major_version >= 2;
  std::free(version);
  if (!recent) return fail("the X server on " + name + " lacks XInput 2");

  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(conn));
  for (int i = 0; i < screenNumber && screens.rem; ++i) xcb_screen_next(&screens);
  if (!screens.rem) return fail("the X display " + name + " has no such screen");

  RawKeyMask mask{};
  mask.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
  mask.head.mask_len = 1;
  mask.mask = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
  xcb_generic_error_t* error =
      xcb_request_check(conn, xcb_input_xi_select_events_checked(conn, screens.data->root, 1, &mask.head));
  if (error) {
    std::free(error);
    return fail("the X server on " + name + " refused raw key events");
  }
  *xiOpcode = extension->major_opcode;
  return conn;
}

}  // namespace

struct X11KeySource::Delivery {
  Handler handler;
  std::uint64_t generation = 0;
};

struct X11KeySource::Worker {
  MainLoop& loop;
  std::shared_ptr<Delivery> delivery;
  std::uint64_t generation;
  std::string display;
  int keyCode;  // evdev
  xcb_connection_t* conn;
  uint8_t xiOpcode;
  int wakeRead = -1;
  int wakeWrite = -1;
  std::atomic<bool> live{true};
  std::atomic<bool> stateWanted{false};
  std::atomic<bool> quit{false};
  bool down = false;  // the key as this worker last saw it
  bool gap = false;   // a state reading is due

  void post(const KeyEvent& event) {
    loop.post([delivery = delivery, generation = generation, event] {
      if (delivery->generation == generation && delivery->handler) delivery->handler(event);
    });
  }

  void wake(char why) { [[maybe_unused]] ssize_t n = write(wakeWrite, &why, 1); }

  void drainWake() {
    char buffer[64];
    while (read(wakeRead, buffer, sizeof buffer) > 0) {
    }
  }

  void handle(xcb_generic_event_t* event) {
    const uint8_t type = event->response_type & 0x7f;
    if (type == 0) {
      auto* error = reinterpret_cast<xcb_generic_error_t*>(event);
      kLog.warning("talk key: X error " + std::to_string(error->error_code) + "; reading the key again");
      gap = true;
      return;
    }
    if (type != XCB_GE_GENERIC) return;
    auto* generic = reinterpret_cast<xcb_ge_generic_event_t*>(event);
    if (generic->extension != xiOpcode) return;
    if (generic->event_type != XCB_INPUT_RAW_KEY_PRESS && generic->event_type != XCB_INPUT_RAW_KEY_RELEASE)
      return;
    auto* raw = reinterpret_cast<xcb_input_raw_key_press_event_t*>(event);
    if (static_cast<int>(raw->detail) - kXKeyCodeOffset != keyCode) return;
    if (generic->event_type == XCB_INPUT_RAW_KEY_PRESS) {
      const bool repeat = down || (raw->flags & XCB_INPUT_KEY_EVENT_FLAGS_KEY_REPEAT);
      down = true;
      post({keyCode, repeat ? KeyEvent::Kind::repeat : KeyEvent::Kind::press});
    } else {
      down = false;
      post({keyCode, KeyEvent::Kind::release});
    }
  }

  void readState() {
    xcb_query_keymap_reply_t* reply = xcb_query_keymap_reply(conn, xcb_query_keymap(conn), nullptr);
    if (!reply) return;  // the connection broke; the loop notices
    const int x = keyCode + kXKeyCodeOffset;
    const bool isDown = (reply->keys[x / 8] >> (x % 8)) & 1;
    std::free(reply);
    // Events that reached us before the reading happened before it.
    while (xcb_generic_event_t* event = xcb_poll_for_queued_event(conn)) {
      handle(event);
      std::free(event);
    }
    down = isDown;
    post({keyCode, KeyEvent::Kind::state, isDown});
  }

  void lost() {
    live = false;
    xcb_disconnect(conn);
    conn = nullptr;
    down = false;
    // Nothing can be seen of the key now: a held key counts as released.
    post({keyCode, KeyEvent::Kind::state, false});
    kLog.warning("talk key: lost the X server on " + displayName(display) + "; retrying");
  }

  void reconnect(int& pauseMs) {
    pollfd wakeFd{wakeRead, POLLIN, 0};
    poll(&wakeFd, 1, pauseMs);
    drainWake();
    if (quit) return;
    std::string why;
    conn = connectAndSelect(display, &xiOpcode, why);
    if (!conn) {
      pauseMs = std::min(pauseMs * 2, 5000);
      return;
    }
    pauseMs = 250;
    live = true;
    gap = true;
    kLog.notice("talk key: X server on " + displayName(display) + " is back");
  }

  void run() {
    int pauseMs = 250;
    while (!quit) {
      if (!conn) {
        reconnect(pauseMs);
        continue;
      }
      while (xcb_generic_event_t* event = xcb_poll_for_event(conn)) {
        handle(event);
        std::free(event);
      }
      if (xcb_connection_has_error(conn)) {
        lost();
        continue;
      }
      if (gap || stateWanted.exchange(false)) {
        gap = false;
        readState();
        continue;
      }
      pollfd fds[2] = {{xcb_get_file_descriptor(conn), POLLIN, 0}, {wakeRead, POLLIN, 0}};
      if (poll(fds, 2, -1) < 0 && errno != EINTR) {
        kLog.error("talk key: poll failed");
        break;
      }
      if (fds[1].revents) drainWake();
    }
  }
};

X11KeySource::X11KeySource(MainLoop& loop, std::string display)
    : loop_(loop), display_(std::move(display)), delivery_(std::make_shared<Delivery>()) {}

X11KeySource::~X11KeySource() { stop(); }

bool X11KeySource::start(int keyCode, Handler handler) {
  stop();
  problem_.clear();
  if (keyCode <= 0 || keyCode + kXKeyCodeOffset > kMaxXKeyCode) {
    problem_ =
        "X11 does not pass this key to applications (fn is handled inside the keyboard); "
        "choose another talk key";
    return false;
  }
  uint8_t opcode = 0;
  xcb_connection_t* conn = connectAndSelect(display_, &opcode, problem_);
  if (!conn) return false;
  int fds[2];
  if (pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
    xcb_disconnect(conn);
    problem_ = "cannot create a pipe";
    return false;
  }
  delivery_->handler = std::move(handler);
  const std::uint64_t generation = ++delivery_->generation;
  worker_.reset(new Worker{loop_, delivery_, generation, display_, keyCode, conn, opcode});
  worker_->wakeRead = fds[0];
  worker_->wakeWrite = fds[1];
  thread_ = std::thread([worker = worker_.get()] {
    pthread_setname_np(pthread_self(), "murvelo-hotkey");
    worker->run();
  });
  return true;
}

void X11KeySource::stop() {
  if (!worker_) return;
  ++delivery_->generation;
  delivery_->handler = nullptr;
  worker_->quit = true;
  worker_->wake('q');
  thread_.join();
  close(worker_->wakeRead);
  close(worker_->wakeWrite);
  if (worker_->conn) xcb_disconnect(worker_->conn);
  worker_.reset();
}

void X11KeySource::requestState() {
  if (!worker_) return;
  worker_->stateWanted = true;
  worker_->wake('s');
}

bool X11KeySource::isLive() const { return worker_ && worker_->live; }

bool X11KeySource::serverAvailable(const std::string& display, std::string* why) {
  std::string reason;
  uint8_t opcode = 0;
  xcb_connection_t* conn = connectAndSelect(display, &opcode, reason);
  if (why) *why = reason;
  if (!conn) return false;
  xcb_disconnect(conn);
  return true;
}

std::chrono::nanoseconds X11KeySource::workerCpuTime() const {
  if (!worker_) return {};
  clockid_t clock;
  // const_cast: native_handle() is not const, but only reads the id.
  if (pthread_getcpuclockid(const_cast<std::thread&>(thread_).native_handle(), &clock) != 0) return {};
  timespec spent{};
  clock_gettime(clock, &spent);
  return std::chrono::seconds(spent.tv_sec) + std::chrono::nanoseconds(spent.tv_nsec);
}

}  // namespace murvelo
