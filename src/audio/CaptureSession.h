#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace murvelo {

// One input the audio server offers, as the recorder needs to know it.
struct CaptureDevice {
  std::string id;    // unique and stable while the device exists
  std::string name;  // human-readable
  bool isBuiltIn = false;
  bool isBluetooth = false;
  double sampleRate = 0;                   // the device's own rate; 0 when the server does not say
  std::string microphoneMode = "unknown";  // "voiceIsolation" on an echo-cancelling input

  bool operator==(const CaptureDevice&) const = default;
};

// What discovery found: the inputs, and which of them is the server's default (none when the
// default is not a usable input, or there is no default).
struct DeviceList {
  std::vector<CaptureDevice> devices;
  std::optional<std::string> defaultID;

  const CaptureDevice* find(const std::string& id) const {
    for (const auto& device : devices)
      if (device.id == id) return &device;
    return nullptr;
  }
  const CaptureDevice* defaultDevice() const { return defaultID ? find(*defaultID) : nullptr; }
};

// Something that happened to the session outside a call: it died, lost its device, or the
// machine woke up. The recorder tears the session down and rebuilds it at the next start.
struct SessionEvent {
  enum class Kind { runtimeError, interrupted, systemWake };
  Kind kind;
  std::string detail;  // a description of a runtime error; may be empty
};

// The long-lived capture session the recorder drives: one input at a time, delivering mono
// 32-bit float buffers at the configured rate on its capture worker. The recorder calls
// configure, teardown, startRunning and discover on the main thread, stopRunning on its stop
// worker.
class CaptureSession {
 public:
  using BufferHandler = std::function<void(std::vector<float> samples)>;
  using EventHandler = std::function<void(const SessionEvent& event)>;

  enum class ConfigureError {
    formatRejected,  // the capture format cannot be built at that rate
    inputFailed,     // the device input could not be created (description says why)
    inputRejected,   // the input exists but the session cannot take it
  };
  struct ConfigureFailure {
    ConfigureError error;
    std::string description;
  };

  virtual ~CaptureSession() = default;

  // Buffers arrive on the capture worker; events on any thread. Null handlers detach.
  virtual void setHandlers(BufferHandler buffers, EventHandler events) = 0;
  // The audio server answers.
  virtual bool serverReachable() = 0;
  virtual DeviceList discover() = 0;
  // Attaches `device`, capturing mono float at `sampleRate`, replacing any input attached before.
  virtual std::optional<ConfigureFailure> configure(const CaptureDevice& device, double sampleRate) = 0;
  // Detaches input and output; stops a running capture first. Safe when nothing is attached.
  virtual void teardown() = 0;
  // Starts delivering buffers; true when the session runs afterwards.
  virtual bool startRunning() = 0;
  virtual bool isRunning() const = 0;
  // Blocks until the capture has stopped. Never called on the main thread.
  virtual void stopRunning() = 0;
  // Returns once every buffer handed to the capture worker so far has been delivered.
  virtual void drainCapture() = 0;
  // The microphone mode of the attached input: "standard", "wideSpectrum", "voiceIsolation" or
  // "unknown".
  virtual std::string microphoneMode() = 0;
};

}  // namespace murvelo
