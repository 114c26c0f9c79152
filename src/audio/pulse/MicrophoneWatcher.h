#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "audio/pulse/PulseCaptureSession.h"

namespace murvelo {

// Keeps an eye on the audio server for the settings window and the first-start guide, on a
// thread of its own so that a slow server never stalls a window: it asks for the inputs every
// interval and reports each change; while a device is metered it records from it (a session of
// its own, not the dictation's) and keeps the level of the latest buffer.
class MicrophoneWatcher {
 public:
  struct Snapshot {
    bool serverAnswers = false;
    DeviceList found;

    bool operator==(const Snapshot& other) const {
      return serverAnswers == other.serverAnswers && found.devices == other.found.devices &&
             found.defaultID == other.found.defaultID;
    }
  };
  // Called on the watcher's thread: at the first look, and whenever the answer changes.
  using Handler = std::function<void(const Snapshot&)>;

  struct Options {
    PulseCaptureSession::Options session{.server = {}, .clientName = "Murvelo settings"};
    std::chrono::milliseconds interval{1000};
  };

  MicrophoneWatcher(Handler handler, Options options);
  explicit MicrophoneWatcher(Handler handler) : MicrophoneWatcher(std::move(handler), Options{}) {}
  ~MicrophoneWatcher();
  MicrophoneWatcher(const MicrophoneWatcher&) = delete;
  MicrophoneWatcher& operator=(const MicrophoneWatcher&) = delete;

  // Records from `deviceID` for the level meter; empty stops. A device that is absent is metered
  // once it appears.
  void meter(std::string deviceID);
  // dB below full scale of the latest buffer of the metered device; the meter's floor otherwise.
  double levelDb() const { return level_.load(); }
  // Looks again now instead of at the next interval.
  void refresh();

 private:
  void run();
  void updateMeter(const Snapshot& snapshot);

  Handler handler_;
  Options options_;
  PulseCaptureSession session_;
  std::atomic<double> level_;

  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  bool again_ = false;
  bool broken_ = false;  // the metered stream failed: rebuild it
  std::string wanted_;

  std::string metering_;  // the watcher thread's own
  std::thread thread_;    // last: starts once everything above exists
};

}  // namespace murvelo
