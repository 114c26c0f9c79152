#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "audio/CaptureSession.h"
#include "base/SerialQueue.h"

struct pa_threaded_mainloop;
struct pa_context;
struct pa_stream;
struct pa_operation;

namespace murvelo {

// The capture session on a PulseAudio (or PipeWire-pulse) server: one long-lived context on a
// threaded main loop, a record stream per capture (mono float at the source's rate). Buffers are
// copied out of the server's memory on the loop thread and delivered on the
// "com.murvelo.mic-capture" worker. A context that failed (the server went away) is reconnected
// at the next use, so a server restart between dictations costs one rebuild, not the microphone.
class PulseCaptureSession : public CaptureSession {
 public:
  struct Options {
    std::string server;  // empty: $PULSE_SERVER or the user's default server
    std::string clientName = "Murvelo";
    std::uint32_t fragmentMs = 20;          // how much audio one buffer holds
    std::uint32_t connectTimeoutMs = 3000;  // to reach the server, or to get a stream running
  };

  PulseCaptureSession() : PulseCaptureSession(Options{}) {}
  explicit PulseCaptureSession(Options options);
  ~PulseCaptureSession() override;
  PulseCaptureSession(const PulseCaptureSession&) = delete;
  PulseCaptureSession& operator=(const PulseCaptureSession&) = delete;

  void setHandlers(BufferHandler buffers, EventHandler events) override;
  bool serverReachable() override;
  // The same, waiting at most `limit` for a server that is slow to answer (the launch's quick look).
  bool serverReachable(std::chrono::milliseconds limit);
  DeviceList discover() override;
  std::optional<ConfigureFailure> configure(const CaptureDevice& device, double sampleRate) override;
  void teardown() override;
  bool startRunning() override;
  bool isRunning() const override { return running_.load(); }
  void stopRunning() override;
  void drainCapture() override { captureQueue_.drain(); }
  std::string microphoneMode() override;

  // Reports a wake from sleep as a session event (the sleep watcher calls it).
  void systemDidWake();

  // Loop-thread callbacks; public only for the C trampolines.
  struct Callbacks;

 private:
  bool ensureContextLocked(std::optional<std::chrono::milliseconds> limit = std::nullopt);
  void dropContextLocked();
  void closeStreamLocked();
  void emit(SessionEvent event);
  void deliver(const void* data, std::size_t bytes);
  bool waitLocked(const std::function<bool()>& done,
                  std::optional<std::chrono::milliseconds> limit = std::nullopt);
  // Waits for a server request to finish; false when it failed or ran out of time.
  bool runLocked(pa_operation* op);

  Options options_;
  pa_threaded_mainloop* mainloop_ = nullptr;
  pa_context* context_ = nullptr;
  pa_stream* stream_ = nullptr;
  bool closingStream_ = false;  // our own disconnect: not a failure
  bool closingContext_ = false;
  bool contextWasReady_ = false;            // a failure after this is news, not a failed connect
  std::uint32_t sourceIndex_ = UINT32_MAX;  // of the configured source, for removal events
  std::optional<std::string> sourceName_;
  double sampleRate_ = 0;
  std::atomic<bool> running_{false};

  std::mutex handlerMutex_;
  BufferHandler buffers_;
  EventHandler events_;
  std::mutex modeMutex_;
  std::string mode_ = "unknown";

  SerialQueue captureQueue_{"com.murvelo.mic-capture"};
};

}  // namespace murvelo
