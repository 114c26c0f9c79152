#include "hotkey/evdev/EvdevKeySource.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>

#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("hotkey");

bool isEventNode(const std::string& name) { return name.rfind("event", 0) == 0; }

bool testBit(const unsigned char* bits, int bit) { return (bits[bit / 8] >> (bit % 8)) & 1; }

std::string permissionFix() {
  return std::string("cannot read the keyboards under /dev/input; allow it with: ") + EvdevKeySource::kFix +
         " (then log out and log in again)";
}

}  // namespace

void EvdevKeyReader::feed(const input_event& event, std::vector<KeyEvent>& reports) {
  if (event.type == EV_SYN && event.code == SYN_DROPPED) {
    dropping_ = true;
    return;
  }
  if (dropping_) {
    // The rest of the damaged packet is unreliable; the device's state is not.
    if (event.type == EV_SYN && event.code == SYN_REPORT) {
      dropping_ = false;
      resynchronise(reports);
    }
    return;
  }
  if (event.type != EV_KEY || event.code != keyCode_) return;
  switch (event.value) {
    case 1:
      reports.push_back({keyCode_, down_ ? KeyEvent::Kind::repeat : KeyEvent::Kind::press});
      down_ = true;
      break;
    case 0:
      down_ = false;
      reports.push_back({keyCode_, KeyEvent::Kind::release});
      break;
    default: reports.push_back({keyCode_, KeyEvent::Kind::repeat}); break;
  }
}

void EvdevKeyReader::resynchronise(std::vector<KeyEvent>& reports) {
  std::optional<bool> now = readState_ ? readState_() : std::nullopt;
  if (!now) return;
  down_ = *now;
  reports.push_back({keyCode_, KeyEvent::Kind::state, *now});
}

EvdevDeviceOps EvdevDeviceOps::system() {
  EvdevDeviceOps ops;
  ops.open = [](const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    return fd >= 0 ? fd : -errno;
  };
  ops.reportsKey = [](int fd, const std::string&, int keyCode) {
    unsigned char bits[KEY_MAX / 8 + 1] = {};
    if (ioctl(fd, EVIOCGBIT(EV_KEY, sizeof bits), bits) < 0) return false;
    return testBit(bits, keyCode);
  };
  ops.keyState = [](int fd, const std::string&, int keyCode) -> std::optional<bool> {
    unsigned char bits[KEY_MAX / 8 + 1] = {};
    if (ioctl(fd, EVIOCGKEY(sizeof bits), bits) < 0) return std::nullopt;
    return testBit(bits, keyCode);
  };
  return ops;
}

struct EvdevKeySource::Delivery {
  Handler handler;
  std::uint64_t generation = 0;
};

struct EvdevKeySource::Worker {
  struct Device {
    int fd;
    std::unique_ptr<EvdevKeyReader> reader;
    std::string pending;  // bytes of an event not read in full yet
  };

  MainLoop& loop;
  std::shared_ptr<Delivery> delivery;
  std::uint64_t generation;
  std::string directory;
  EvdevDeviceOps ops;
  int keyCode;
  std::atomic<int>& deviceCount;
  int inotifyFd = -1;
  int wakeRead = -1;
  int wakeWrite = -1;
  std::atomic<bool> live{true};
  std::atomic<bool> stateWanted{false};
  std::atomic<bool> quit{false};
  std::map<std::string, Device> devices;  // by path
  bool down = false;                      // down on any device, as last reported

  void post(const KeyEvent& event) {
    loop.post([delivery = delivery, generation = generation, event] {
      if (delivery->generation == generation && delivery->handler) delivery->handler(event);
    });
  }

  bool anyDown() const {
    for (const auto& [path, device] : devices)
      if (device.reader->down()) return true;
    return false;
  }

  // Folds one device's reports into reports about the key on all keyboards together.
  void forward(const std::vector<KeyEvent>& reports) {
    for (const KeyEvent& report : reports) {
      const bool now = anyDown();
      if (report.kind == KeyEvent::Kind::state) {
        down = now;
        post({keyCode, KeyEvent::Kind::state, now});
      } else if (now != down) {
        down = now;
        post({keyCode, now ? KeyEvent::Kind::press : KeyEvent::Kind::release});
      } else if (report.kind != KeyEvent::Kind::release) {
        post({keyCode, KeyEvent::Kind::repeat});
      }
    }
  }

  // Opens a device if it has the key. Returns the open error (0 when it opened or was skipped).
  int add(const std::string& path, bool announce) {
    if (devices.count(path)) return 0;
    int fd = ops.open(path);
    if (fd < 0) {
      kLog.info("talk key: skipped " + path + " (" + std::strerror(-fd) + ")");
      return -fd;
    }
    if (!ops.reportsKey(fd, path, keyCode)) {
      close(fd);
      return 0;
    }
    auto reader = std::make_unique<EvdevKeyReader>(
        keyCode, [this, fd, path]() { return ops.keyState(fd, path, keyCode); });
    EvdevKeyReader* raw = reader.get();
    devices[path] = {fd, std::move(reader), {}};
    deviceCount = static_cast<int>(devices.size());
    if (announce) {
      kLog.info("talk key: keyboard added " + path);
      // A keyboard plugged in with the key held counts like any other.
      std::vector<KeyEvent> reports;
      raw->resynchronise(reports);
      forward(reports);
    }
    return 0;
  }

  void remove(const std::string& path) {
    auto found = devices.find(path);
    if (found == devices.end()) return;
    close(found->second.fd);
    devices.erase(found);
    deviceCount = static_cast<int>(devices.size());
    kLog.info("talk key: keyboard removed " + path);
    if (down && !anyDown()) {
      down = false;
      post({keyCode, KeyEvent::Kind::release});
    }
  }

  void readDevice(const std::string& path) {
    Device& device = devices.at(path);
    char buffer[sizeof(input_event) * 64];
    while (true) {
      ssize_t n = read(device.fd, buffer, sizeof buffer);
      if (n > 0) {
        device.pending.append(buffer, static_cast<std::size_t>(n));
        std::vector<KeyEvent> reports;
        std::size_t used = 0;
        for (; used + sizeof(input_event) <= device.pending.size(); used += sizeof(input_event)) {
          input_event event;
          std::memcpy(&event, device.pending.data() + used, sizeof event);
          device.reader->feed(event, reports);
        }
        device.pending.erase(0, used);
        forward(reports);
        continue;
      }
      if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
      // End of file or ENODEV: the keyboard is gone.
      remove(path);
      return;
    }
  }

  void readState() {
    std::vector<KeyEvent> reports;
    for (auto& [path, device] : devices) device.reader->resynchronise(reports);
    down = anyDown();
    post({keyCode, KeyEvent::Kind::state, down});
  }

  void readInotify() {
    alignas(inotify_event) char buffer[4096];
    while (true) {
      ssize_t n = read(inotifyFd, buffer, sizeof buffer);
      if (n <= 0) return;
      for (char* at = buffer; at < buffer + n;) {
        auto* event = reinterpret_cast<inotify_event*>(at);
        at += sizeof(inotify_event) + event->len;
        if (event->mask & (IN_IGNORED | IN_DELETE_SELF)) {
          live = false;
          kLog.warning("talk key: " + directory + " went away");
          continue;
        }
        if (!event->len || !isEventNode(event->name)) continue;
        const std::string path = directory + "/" + event->name;
        if (event->mask & (IN_DELETE | IN_MOVED_FROM))
          remove(path);
        else
          add(path, true);  // created, or its permissions were just set
      }
    }
  }

  void run() {
    while (!quit) {
      if (stateWanted.exchange(false)) readState();
      std::vector<pollfd> fds{{wakeRead, POLLIN, 0}, {inotifyFd, POLLIN, 0}};
      std::vector<std::string> paths;
      for (const auto& [path, device] : devices) {
        fds.push_back({device.fd, POLLIN, 0});
        paths.push_back(path);
      }
      if (poll(fds.data(), fds.size(), -1) < 0) {
        if (errno == EINTR) continue;
        kLog.error("talk key: poll failed");
        live = false;
        return;
      }
      if (fds[0].revents) {
        char drain[64];
        while (read(wakeRead, drain, sizeof drain) > 0) {
        }
      }
      for (std::size_t i = 2; i < fds.size(); ++i)
        if (fds[i].revents) readDevice(paths[i - 2]);
      if (fds[1].revents) readInotify();
    }
  }

  ~Worker() {
    for (auto& [path, device] : devices) close(device.fd);
    if (inotifyFd >= 0) close(inotifyFd);
    if (wakeRead >= 0) close(wakeRead);
    if (wakeWrite >= 0) close(wakeWrite);
    deviceCount = 0;
  }
};

EvdevKeySource::EvdevKeySource(MainLoop& loop, std::string directory, EvdevDeviceOps ops)
    : loop_(loop),
      directory_(std::move(directory)),
      ops_(std::move(ops)),
      delivery_(std::make_shared<Delivery>()) {}

EvdevKeySource::~EvdevKeySource() { stop(); }

bool EvdevKeySource::start(int keyCode, Handler handler) {
  stop();
  problem_.clear();
  std::error_code error;
  if (!std::filesystem::is_directory(directory_, error)) {
    problem_ = "no input devices here (" + directory_ + " is missing)";
    return false;
  }
  delivery_->handler = std::move(handler);
  const std::uint64_t generation = ++delivery_->generation;
  auto worker = std::unique_ptr<Worker>(new Worker{loop_,
                                                   delivery_,
                                                   generation,
                                                   directory_,
                                                   ops_,
                                                   keyCode,
                                                   devices_,
                                                   -1,
                                                   -1,
                                                   -1,
                                                   {true},
                                                   {false},
                                                   {false},
                                                   {},
                                                   false});
  // Watch first, so a keyboard that appears during the scan is not missed.
  worker->inotifyFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  int wake[2];
  if (worker->inotifyFd < 0 ||
      inotify_add_watch(worker->inotifyFd, directory_.c_str(),
                        IN_CREATE | IN_ATTRIB | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE_SELF) <
          0 ||
      pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) {
    problem_ = "cannot watch " + directory_ + " for keyboards (" + std::strerror(errno) + ")";
    return false;
  }
  worker->wakeRead = wake[0];
  worker->wakeWrite = wake[1];

  int seen = 0, denied = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
    const std::string name = entry.path().filename().string();
    if (!isEventNode(name)) continue;
    ++seen;
    int failure = worker->add(entry.path().string(), false);
    if (failure == EACCES || failure == EPERM) ++denied;
  }
  if (seen > 0 && denied == seen) {
    problem_ = permissionFix();
    return false;
  }
  if (worker->devices.empty()) kLog.notice("talk key: no keyboard under " + directory_ + " has the key yet");
  worker_ = std::move(worker);
  thread_ = std::thread([worker = worker_.get()] {
    pthread_setname_np(pthread_self(), "murvelo-hotkey");
    worker->run();
  });
  return true;
}

void EvdevKeySource::stop() {
  if (!worker_) return;
  ++delivery_->generation;
  delivery_->handler = nullptr;
  worker_->quit = true;
  char byte = 'q';
  [[maybe_unused]] ssize_t n = write(worker_->wakeWrite, &byte, 1);
  thread_.join();
  worker_.reset();
}

void EvdevKeySource::requestState() {
  if (!worker_) return;
  worker_->stateWanted = true;
  char byte = 's';
  [[maybe_unused]] ssize_t n = write(worker_->wakeWrite, &byte, 1);
}

bool EvdevKeySource::isLive() const { return worker_ && worker_->live; }

bool EvdevKeySource::mayListen() const {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
    if (!isEventNode(entry.path().filename().string())) continue;
    if (access(entry.path().c_str(), R_OK) == 0) return true;
  }
  return false;
}

}  // namespace murvelo
