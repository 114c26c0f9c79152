#include "audio/pulse/LogindSleepWatcher.h"

#include <chrono>

#include "base/Log.h"

#if defined(MURVELO_HAVE_SYSTEMD)
#include <systemd/sd-bus.h>
#endif

namespace murvelo {
namespace {

const Logger kLog("audio");

}  // namespace

LogindSleepWatcher::LogindSleepWatcher(std::function<void()> onWake, Options options)
    : onWake_(std::move(onWake)), options_(std::move(options)) {
  thread_ = std::thread([this] { run(); });
}

LogindSleepWatcher::~LogindSleepWatcher() {
  quitting_ = true;
  if (thread_.joinable()) thread_.join();
}

void LogindSleepWatcher::waitUntilReady() const {
  while (!ready_.load()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

#if defined(MURVELO_HAVE_SYSTEMD)

void LogindSleepWatcher::run() {
  sd_bus* bus = nullptr;
  int result;
  if (options_.busAddress.empty()) {
    result = sd_bus_open_system(&bus);
  } else {
    result = sd_bus_new(&bus);
    if (result >= 0) result = sd_bus_set_address(bus, options_.busAddress.c_str());
    if (result >= 0) result = sd_bus_set_bus_client(bus, 1);
    if (result >= 0) result = sd_bus_start(bus);
  }
  sd_bus_slot* slot = nullptr;
  if (result >= 0) {
    auto handler = [](sd_bus_message* message, void* user, sd_bus_error*) -> int {
      int sleeping = 0;
      if (sd_bus_message_read(message, "b", &sleeping) >= 0 && !sleeping) {
        auto* self = static_cast<LogindSleepWatcher*>(user);
        if (self->onWake_) self->onWake_();
      }
      return 0;
    };
    result = sd_bus_match_signal(bus, &slot, options_.sender.empty() ? nullptr : options_.sender.c_str(),
                                 "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                                 "PrepareForSleep", handler, this);
  }
  if (result < 0) {
    kLog.notice("sleep/wake not watched: no system bus");
    sd_bus_unref(bus);
    ready_ = true;
    return;
  }
  watching_ = true;
  ready_ = true;
  while (!quitting_.load()) {
    int processed = sd_bus_process(bus, nullptr);
    if (processed < 0) break;
    if (processed > 0) continue;
    if (sd_bus_wait(bus, 200 * 1000) < 0) break;  // wakes up now and then to notice quitting
  }
  watching_ = false;
  sd_bus_slot_unref(slot);
  sd_bus_flush_close_unref(bus);
}

#else

void LogindSleepWatcher::run() {
  kLog.notice("sleep/wake not watched: built without libsystemd");
  ready_ = true;
}

#endif

}  // namespace murvelo
