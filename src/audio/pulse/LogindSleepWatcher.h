#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace murvelo {

// Watches logind's PrepareForSleep signal on the system bus and reports each wake from sleep.
// Without a system bus (or without libsystemd) it watches nothing and says so once.
class LogindSleepWatcher {
 public:
  struct Options {
    std::string busAddress;                         // empty: the system bus
    std::string sender = "org.freedesktop.login1";  // empty: any sender
  };

  LogindSleepWatcher(std::function<void()> onWake, Options options);
  explicit LogindSleepWatcher(std::function<void()> onWake)
      : LogindSleepWatcher(std::move(onWake), Options{}) {}
  ~LogindSleepWatcher();
  LogindSleepWatcher(const LogindSleepWatcher&) = delete;
  LogindSleepWatcher& operator=(const LogindSleepWatcher&) = delete;

  // The bus was reached and the signal is being watched.
  bool isWatching() const { return watching_.load(); }
  // Blocks until the watcher has either subscribed or given up.
  void waitUntilReady() const;

 private:
  void run();

  std::function<void()> onWake_;
  Options options_;
  std::atomic<bool> quitting_{false};
  std::atomic<bool> watching_{false};
  std::atomic<bool> ready_{false};
  std::thread thread_;
};

}  // namespace murvelo
