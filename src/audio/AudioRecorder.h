#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "audio/CaptureLifecycle.h"
#include "audio/CaptureSession.h"
#include "audio/MicrophoneSelection.h"
#include "audio/Recorder.h"
#include "base/MainLoop.h"
#include "base/SerialQueue.h"

namespace murvelo {

// Owns the microphone: one long-lived capture session, started when the talk key goes down and
// stopped when the dictation ends. Each buffer goes both to the capture's record (for the WAV
// fallback) and to the live stream (for streaming recognition). A session that died (runtime
// error, lost device, wake from sleep, a capture with no buffers) is torn down and rebuilt at the
// next start, never in the middle of a dictation.
//
// start, stop, stopSession, invalidate and writeWAV run on the main loop; buffers arrive on the
// session's capture worker; the blocking session stop runs on the "com.murvelo.mic-stop" worker.
class AudioRecorder : public Recorder, public CaptureLifecycle {
 public:
  struct Options {
    // How long a start waits for the previous stop before it gives up: starting a session that
    // is still stopping leaves it dead.
    std::chrono::milliseconds stopWaitLimit{2000};
    // Delay before a normal session stop, so the end of the last word is not cut off.
    std::chrono::milliseconds captureTail{300};
    static constexpr double kFallbackSampleRate = 48000;
  };
  using SelectionSource = std::function<MicrophoneSelection()>;

  // `selection` is read at every start. The session must outlive the recorder.
  AudioRecorder(MainLoop& loop, CaptureSession& session, SelectionSource selection, Options options);
  AudioRecorder(MainLoop& loop, CaptureSession& session, SelectionSource selection)
      : AudioRecorder(loop, session, std::move(selection), Options{}) {}
  ~AudioRecorder() override;
  AudioRecorder(const AudioRecorder&) = delete;
  AudioRecorder& operator=(const AudioRecorder&) = delete;

  // Recorder
  Result<std::shared_ptr<LiveBufferStream>, RecorderError> start(std::function<void()> onFirstAudio) override;
  CapturedAudio stop() override;
  void cancel() override;
  void stopSession(bool immediate) override;
  Result<std::optional<std::filesystem::path>, RecorderError> writeWAV(
      const CapturedAudio& captured) override;
  void invalidate(const std::string& reason) override;
  RecorderFacts facts() const override;

  // CaptureLifecycle
  bool microphoneAuthorized() const override { return session_.serverReachable(); }
  std::int64_t captureGeneration() const override { return captureGeneration_.load(); }
  void setStopSettledHandler(StopSettled handler) override;

  bool isConfigured() const { return configured_; }
  bool stopInFlight() const { return stopInFlight_; }
  std::optional<std::string> pendingInvalidation() const { return pendingInvalidation_; }
  std::optional<AudioFormat> inputFormat() const;

 private:
  // Ends the capture; only a run's capture that produced nothing marks the session dead.
  CapturedAudio end(bool forRun);
  std::optional<RecorderError> configure(const CaptureDevice& device);
  void beginSessionStop(std::int64_t generation);
  void stopCompleted(std::int64_t generation);
  void carryOutInvalidation(const std::string& reason);
  void onBuffer(std::vector<float> samples);
  void onEvent(const SessionEvent& event);
  bool recording() const;
  template <typename F>
  std::function<void()> guarded(F job);

  MainLoop& loop_;
  CaptureSession& session_;
  SelectionSource selection_;
  Options options_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);

  WaitGroup stopGroup_;
  bool stopInFlight_ = false;
  std::atomic<std::int64_t> lastStopMs_{0};
  std::atomic<std::int64_t> captureGeneration_{0};
  std::optional<std::string> pendingInvalidation_;
  bool configured_ = false;
  std::optional<std::string> configuredDeviceID_;
  MainLoop::TimerId tailTimer_ = 0;

  std::mutex settledMutex_;
  StopSettled settled_;

  // Shared with the capture worker: guarded by lock_.
  mutable std::mutex lock_;
  std::string deviceName_ = "unknown";
  std::optional<AudioFormat> inputFormat_;
  std::vector<AudioBuffer> captured_;
  bool isRecording_ = false;
  std::shared_ptr<LiveBufferStream> live_;
  float recentRMS_ = 0;
  float peakRMS_ = 0;
  MainLoop::TimePoint startedAt_{};
  MainLoop::TimePoint captureStartedAt_{};
  std::int64_t startupMs_ = 0;
  std::int64_t micLiveMs_ = 0;
  std::int64_t droppedZeroMs_ = 0;
  std::string micModeAtCapture_ = "unknown";
  bool sawRealAudio_ = false;
  std::function<void()> onFirstAudio_;
  std::string deviceID_;
  bool didSubstituteBuiltInMic_ = false;
  std::string bypassedDeviceName_;
  bool didRecordViaBluetooth_ = false;

  // Last, so it is joined before anything its jobs touch goes away.
  SerialQueue stopQueue_{"com.murvelo.mic-stop"};
};

}  // namespace murvelo
