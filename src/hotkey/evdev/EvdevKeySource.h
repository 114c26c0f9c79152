#pragma once

#include <linux/input.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/MainLoop.h"
#include "hotkey/KeySource.h"

namespace murvelo {

// Turns one keyboard's event stream into reports about one key. Auto-repeat (value 2) is a
// repeat; after SYN_DROPPED everything up to the next SYN_REPORT is discarded and the key's
// state is read from the device instead.
class EvdevKeyReader {
 public:
  using StateRead = std::function<std::optional<bool>()>;

  EvdevKeyReader(int keyCode, StateRead readState) : keyCode_(keyCode), readState_(std::move(readState)) {}

  void feed(const input_event& event, std::vector<KeyEvent>& reports);
  // Reads the device's state and reports it; nothing when the reading fails.
  void resynchronise(std::vector<KeyEvent>& reports);
  bool down() const { return down_; }

 private:
  int keyCode_;
  StateRead readState_;
  bool down_ = false;
  bool dropping_ = false;
};

// How devices are opened and asked; the real ones use open() and the evdev ioctls, tests pass
// their own to run on pipes.
struct EvdevDeviceOps {
  // A file descriptor, or -errno.
  std::function<int(const std::string& path)> open;
  // The device has the key at all (EVIOCGBIT).
  std::function<bool(int fd, const std::string& path, int keyCode)> reportsKey;
  // The key is down now (EVIOCGKEY); nothing when the device does not answer.
  std::function<std::optional<bool>(int fd, const std::string& path, int keyCode)> keyState;

  static EvdevDeviceOps system();
};

// The talk key from every keyboard under /dev/input that has it, for Wayland sessions and
// consoles where no X server tells us. Reading those devices needs membership of group
// `input`; without it start() fails and says how to get it. Keyboards come and go while it runs
// (inotify on the directory); the key counts as down while it is down on any of them, and a
// keyboard unplugged with the key held releases it. A worker thread sleeps in poll() and posts
// reports to the main loop.
class EvdevKeySource : public KeySource {
 public:
  static constexpr const char* kFix = "sudo usermod -aG input $USER";

  explicit EvdevKeySource(MainLoop& loop, std::string directory = "/dev/input",
                          EvdevDeviceOps ops = EvdevDeviceOps::system());
  ~EvdevKeySource() override;

  bool start(int keyCode, Handler handler) override;
  void stop() override;
  void requestState() override;
  bool isLive() const override;
  bool mayListen() const override;
  std::string problem() const override { return problem_; }
  std::string name() const override { return "evdev"; }

  // Keyboards with the key that are open now; for the command line and tests.
  int deviceCount() const { return devices_.load(); }

 private:
  struct Delivery;
  struct Worker;

  MainLoop& loop_;
  std::string directory_;
  EvdevDeviceOps ops_;
  std::string problem_;
  std::shared_ptr<Delivery> delivery_;
  std::unique_ptr<Worker> worker_;
  std::thread thread_;
  std::atomic<int> devices_{0};
};

}  // namespace murvelo
