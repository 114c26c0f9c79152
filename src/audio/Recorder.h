#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "audio/CapturedAudio.h"
#include "audio/LiveBufferStream.h"
#include "base/Result.h"

namespace murvelo {

enum class RecorderError { noMicrophone, couldNotBuildBuffer, conversionFailed, fileError };

// What the recorder knows about the current or last capture, for the controller and diagnostics.
struct RecorderFacts {
  std::string deviceName;
  std::string deviceID;
  float recentRMS = 0;
  float peakRMS = 0;
  std::int64_t startupMs = 0;
  std::int64_t micLiveMs = 0;
  std::int64_t droppedZeroMs = 0;
  std::string micModeAtCapture = "unknown";
  std::int64_t lastStopMs = 0;
  bool didSubstituteBuiltInMic = false;
  std::string bypassedDeviceName;
  bool didRecordViaBluetooth = false;
  bool isRecording = false;
};

// The microphone as the dictation controller drives it. AudioRecorder is the real one; the
// controller's tests use a fake.
class Recorder {
 public:
  virtual ~Recorder() = default;

  // Begins a capture. `onFirstAudio` fires once, on the capture worker, right after the first
  // buffer with real audio was stored. Returns the capture's live buffer stream.
  virtual Result<std::shared_ptr<LiveBufferStream>, RecorderError> start(
      std::function<void()> onFirstAudio) = 0;
  // Ends the capture and hands over its buffers.
  virtual CapturedAudio stop() = 0;
  // Ends a capture that makes no run (a short tap, a microphone that gave nothing): its buffers
  // are dropped, and an empty capture is then no sign of a dead session.
  virtual void cancel() { stop(); }
  // Stops the running session off the main thread; called right after stop().
  virtual void stopSession(bool immediate) = 0;
  // A 16 kHz 16-bit mono WAV file of `captured` that the caller owns and deletes, or no file
  // when the audio is a quarter of a second or shorter.
  virtual Result<std::optional<std::filesystem::path>, RecorderError> writeWAV(
      const CapturedAudio& captured) = 0;
  // Tears the session down so that the next start rebuilds it.
  virtual void invalidate(const std::string& reason) = 0;
  virtual RecorderFacts facts() const = 0;
};

}  // namespace murvelo
