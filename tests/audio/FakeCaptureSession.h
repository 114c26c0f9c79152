#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "audio/CaptureSession.h"

namespace murvelo::test {

// A capture session driven by the test: it decides what discovery finds, which calls fail, when
// a stop finishes, and delivers buffers and events as the capture worker would.
class FakeCaptureSession : public CaptureSession {
 public:
  DeviceList found;
  std::optional<ConfigureFailure> nextConfigureFailure;
  bool startFails = false;
  std::string mode = "unknown";

  int configures = 0;
  int teardowns = 0;
  std::atomic<int> stops{0};
  std::vector<std::pair<std::string, double>> configuredWith;

  void setHandlers(BufferHandler buffers, EventHandler events) override {
    std::lock_guard lock(mutex_);
    buffers_ = std::move(buffers);
    events_ = std::move(events);
  }
  bool serverReachable() override { return true; }
  DeviceList discover() override { return found; }
  std::optional<ConfigureFailure> configure(const CaptureDevice& device, double sampleRate) override {
    ++configures;
    if (nextConfigureFailure) {
      auto failure = *nextConfigureFailure;
      nextConfigureFailure.reset();
      return failure;
    }
    configuredWith.emplace_back(device.id, sampleRate);
    return std::nullopt;
  }
  void teardown() override {
    ++teardowns;
    running_ = false;
  }
  bool startRunning() override { return running_ = !startFails; }
  bool isRunning() const override { return running_; }
  void stopRunning() override {
    std::unique_lock lock(mutex_);
    stopEntered_ = true;
    entered_.notify_all();
    released_.wait(lock, [this] { return !holdStops_; });
    running_ = false;
    ++stops;
  }
  void drainCapture() override {}
  std::string microphoneMode() override { return mode; }

  // As the capture worker: hands one buffer to the recorder.
  void deliver(std::vector<float> samples) {
    std::unique_lock lock(mutex_);
    BufferHandler handler = buffers_;
    lock.unlock();
    if (handler) handler(std::move(samples));
  }
  void emit(SessionEvent event) {
    std::unique_lock lock(mutex_);
    EventHandler handler = events_;
    lock.unlock();
    if (handler) handler(event);
  }

  // Makes stopRunning block until releaseStops().
  void holdStops() {
    std::lock_guard lock(mutex_);
    holdStops_ = true;
    stopEntered_ = false;
  }
  void releaseStops() {
    {
      std::lock_guard lock(mutex_);
      holdStops_ = false;
    }
    released_.notify_all();
  }
  bool waitStopEntered(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return entered_.wait_for(lock, limit, [this] { return stopEntered_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable entered_;
  std::condition_variable released_;
  bool holdStops_ = false;
  bool stopEntered_ = false;
  std::atomic<bool> running_{false};
  BufferHandler buffers_;
  EventHandler events_;
};

}  // namespace murvelo::test
