#include "audio/AudioRecorder.h"

#include <algorithm>
#include <cstdio>

#include "audio/DeviceResolution.h"
#include "audio/WavWriter.h"
#include "base/Log.h"
#include "base/Paths.h"

namespace murvelo {
namespace {

const Logger kLog("audio");

std::int64_t wholeMs(MainLoop::Duration elapsed) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
}

bool allZero(const std::vector<float>& samples) {
  return std::all_of(samples.begin(), samples.end(), [](float sample) { return sample == 0.0f; });
}

}  // namespace

template <typename F>
std::function<void()> AudioRecorder::guarded(F job) {
  std::weak_ptr<int> alive = alive_;
  return [alive, job = std::move(job)]() mutable {
    if (alive.lock()) job();
  };
}

AudioRecorder::AudioRecorder(MainLoop& loop, CaptureSession& session, SelectionSource selection,
                             Options options)
    : loop_(loop), session_(session), selection_(std::move(selection)), options_(options) {
  session_.setHandlers([this](std::vector<float> samples) { onBuffer(std::move(samples)); },
                       [this](const SessionEvent& event) { onEvent(event); });
}

AudioRecorder::~AudioRecorder() {
  loop_.cancel(tailTimer_);
  stopQueue_.drain();
  session_.setHandlers(nullptr, nullptr);
  std::shared_ptr<LiveBufferStream> live;
  {
    std::lock_guard lock(lock_);
    isRecording_ = false;
    live = std::move(live_);
  }
  if (live) live->finish();
}

bool AudioRecorder::recording() const {
  std::lock_guard lock(lock_);
  return isRecording_;
}

std::optional<AudioFormat> AudioRecorder::inputFormat() const {
  std::lock_guard lock(lock_);
  return inputFormat_;
}

void AudioRecorder::setStopSettledHandler(StopSettled handler) {
  std::lock_guard lock(settledMutex_);
  settled_ = std::move(handler);
}

RecorderFacts AudioRecorder::facts() const {
  std::lock_guard lock(lock_);
  RecorderFacts facts;
  facts.deviceName = deviceName_;
  facts.deviceID = deviceID_;
  facts.recentRMS = recentRMS_;
  facts.peakRMS = peakRMS_;
  facts.startupMs = startupMs_;
  facts.micLiveMs = micLiveMs_;
  facts.droppedZeroMs = droppedZeroMs_;
  facts.micModeAtCapture = micModeAtCapture_;
  facts.lastStopMs = lastStopMs_.load();
  facts.didSubstituteBuiltInMic = didSubstituteBuiltInMic_;
  facts.bypassedDeviceName = bypassedDeviceName_;
  facts.didRecordViaBluetooth = didRecordViaBluetooth_;
  facts.isRecording = isRecording_;
  return facts;
}

// ---- start ----

std::optional<RecorderError> AudioRecorder::configure(const CaptureDevice& device) {
  double rate = device.sampleRate > 0 ? device.sampleRate : Options::kFallbackSampleRate;
  if (auto failure = session_.configure(device, rate)) {
    switch (failure->error) {
      case CaptureSession::ConfigureError::formatRejected: return RecorderError::couldNotBuildBuffer;
      case CaptureSession::ConfigureError::inputFailed:
        kLog.error("capture input setup failed: " + failure->description);
        return RecorderError::noMicrophone;
      case CaptureSession::ConfigureError::inputRejected: return RecorderError::noMicrophone;
    }
  }
  configured_ = true;
  configuredDeviceID_ = device.id;
  {
    std::lock_guard lock(lock_);
    deviceName_ = device.name;
    inputFormat_ = AudioFormat{rate, 1};
  }
  char text[64];
  std::snprintf(text, sizeof text, "%f", rate);
  kLog.info(std::string("mic capture configured: AVCaptureSession ") + text + "Hz mono float (device " +
            device.name + ")");
  return std::nullopt;
}

Result<std::shared_ptr<LiveBufferStream>, RecorderError> AudioRecorder::start(
    std::function<void()> onFirstAudio) {
  if (stopInFlight_) {
    if (!stopGroup_.waitFor(options_.stopWaitLimit)) {
      kLog.error("capture start refused — previous stop still in flight after 2s");
      return RecorderError::noMicrophone;
    }
    stopInFlight_ = false;
  }
  // A capture still open is closed first; its buffers are not wanted any more.
  if (recording()) stop();
  // The session may still be inside its capture tail: this capture takes it over as it is.
  loop_.cancel(tailTimer_);
  tailTimer_ = 0;

  if (pendingInvalidation_) {
    std::string reason = std::move(*pendingInvalidation_);
    pendingInvalidation_.reset();
    carryOutInvalidation(reason);
  }

  auto resolved =
      resolveDevice(session_.discover(), selection_ ? selection_() : MicrophoneSelection::builtIn());
  if (!resolved) {
    kLog.error("no default audio capture device — mic not available");
    return RecorderError::noMicrophone;
  }
  if (!configured_ || configuredDeviceID_ != resolved->device.id) {
    if (configured_ && session_.isRunning()) session_.teardown();
    if (auto error = configure(resolved->device)) return *error;
  }

  std::int64_t generation = ++captureGeneration_;
  (void)generation;
  std::shared_ptr<LiveBufferStream> live;
  {
    std::lock_guard lock(lock_);
    captured_.clear();
    recentRMS_ = 0;
    peakRMS_ = 0;
    sawRealAudio_ = false;
    droppedZeroMs_ = 0;
    startupMs_ = 0;
    micLiveMs_ = 0;
    micModeAtCapture_ = "unknown";
    onFirstAudio_ = std::move(onFirstAudio);
    startedAt_ = loop_.now();
    deviceID_ = resolved->device.id;
    didSubstituteBuiltInMic_ = resolved->didSubstituteBuiltInMic;
    bypassedDeviceName_ = resolved->bypassedDeviceName;
    didRecordViaBluetooth_ = resolved->device.isBluetooth;
    live = std::make_shared<LiveBufferStream>(inputFormat_.value_or(AudioFormat{}));
    live_ = live;
    isRecording_ = true;
    captureStartedAt_ = loop_.now();
  }

  bool running = session_.startRunning() && session_.isRunning();
  if (!running) {
    {
      std::lock_guard lock(lock_);
      isRecording_ = false;
    }
    session_.drainCapture();
    {
      std::lock_guard lock(lock_);
      captured_.clear();
      live_.reset();
      onFirstAudio_ = nullptr;
    }
    live->finish();
    kLog.error("capture session did not start running");
    return RecorderError::noMicrophone;
  }
  return live;
}

// ---- per buffer, on the capture worker ----

void AudioRecorder::onBuffer(std::vector<float> samples) {
  if (samples.empty()) return;
  double rate;
  bool sawReal;
  {
    std::lock_guard lock(lock_);
    if (!isRecording_ || !inputFormat_) return;
    rate = inputFormat_->sampleRate;
    sawReal = sawRealAudio_;
  }
  // Only exact digital silence counts as dead air: what a microphone gives while it wakes up.
  if (!sawReal && allZero(samples)) {
    std::lock_guard lock(lock_);
    if (isRecording_)
      droppedZeroMs_ += static_cast<std::int64_t>(static_cast<double>(samples.size()) / rate * 1000.0);
    return;
  }

  float level = rmsLevel(samples);
  auto buffer = std::make_shared<const std::vector<float>>(std::move(samples));
  std::function<void()> firstAudio;
  std::optional<std::int64_t> droppedToReport;
  {
    std::lock_guard lock(lock_);
    if (!isRecording_) return;
    if (!sawRealAudio_) {
      sawRealAudio_ = true;
      auto now = loop_.now();
      micLiveMs_ = wholeMs(now - startedAt_);
      startupMs_ = wholeMs(now - captureStartedAt_);
      micModeAtCapture_ = session_.microphoneMode();
      if (droppedZeroMs_ >= 1) droppedToReport = droppedZeroMs_;
    }
    captured_.push_back(buffer);
    recentRMS_ = level;
    peakRMS_ = std::max(peakRMS_, level);
    if (live_) live_->push(buffer);
    firstAudio = std::move(onFirstAudio_);
    onFirstAudio_ = nullptr;
  }
  if (droppedToReport)
    kLog.info("capture dropped " + std::to_string(*droppedToReport) + "ms of leading dead air");
  if (firstAudio) firstAudio();
}

// ---- stop ----

CapturedAudio AudioRecorder::stop() { return end(true); }

void AudioRecorder::cancel() { end(false); }

CapturedAudio AudioRecorder::end(bool forRun) {
  std::shared_ptr<LiveBufferStream> live;
  CapturedAudio audio;
  {
    std::lock_guard lock(lock_);
    if (isRecording_) {
      isRecording_ = false;
      live = std::move(live_);
      onFirstAudio_ = nullptr;
    }
    audio.buffers = captured_;
    audio.format = inputFormat_;
  }
  if (live) live->finish();
  if (forRun && audio.buffers.empty()) {
    kLog.error("capture produced ZERO buffers — session is dead, forcing rebuild");
    invalidate("zero buffers");
  }
  return audio;
}

void AudioRecorder::stopSession(bool immediate) {
  std::int64_t generation = captureGeneration_.load();
  loop_.cancel(tailTimer_);
  tailTimer_ = 0;
  if (immediate) {
    beginSessionStop(generation);
    return;
  }
  tailTimer_ = loop_.postAfter(options_.captureTail, guarded([this, generation] {
                                 tailTimer_ = 0;
                                 beginSessionStop(generation);
                               }));
}

void AudioRecorder::beginSessionStop(std::int64_t generation) {
  // A newer capture owns the session now; its own stop will come.
  if (generation != captureGeneration_.load() || recording()) return;
  if (stopInFlight_ || !session_.isRunning()) return;
  std::shared_ptr<LiveBufferStream> live;
  {
    std::lock_guard lock(lock_);
    live = std::move(live_);
  }
  if (live) live->finish();

  stopInFlight_ = true;
  stopGroup_.enter();
  stopQueue_.post([this, generation] {
    auto began = std::chrono::steady_clock::now();
    session_.stopRunning();
    session_.drainCapture();
    std::int64_t stopMs = wholeMs(std::chrono::steady_clock::now() - began);
    lastStopMs_ = stopMs;
    stopGroup_.leave();
    loop_.post(guarded([this, generation] { stopCompleted(generation); }));
    StopSettled settled;
    {
      std::lock_guard lock(settledMutex_);
      settled = settled_;
    }
    if (settled) settled(generation, stopMs);
  });
}

void AudioRecorder::stopCompleted(std::int64_t) {
  // A start that already waited for this stop has taken over; it cleared the flag itself.
  if (!stopGroup_.idle()) return;
  stopInFlight_ = false;
  if (pendingInvalidation_ && !recording()) {
    std::string reason = std::move(*pendingInvalidation_);
    pendingInvalidation_.reset();
    invalidate(reason);
  }
}

// ---- invalidation ----

void AudioRecorder::invalidate(const std::string& reason) {
  // Never in the middle of a capture or a stop: the work waits for the stop, or the next start.
  if (stopInFlight_ || recording() || session_.isRunning()) {
    pendingInvalidation_ = reason;
    return;
  }
  carryOutInvalidation(reason);
}

void AudioRecorder::carryOutInvalidation(const std::string& reason) {
  if (!configured_) return;
  configured_ = false;
  configuredDeviceID_.reset();
  session_.teardown();
  kLog.info("capture session invalidated (" + reason + ") — will rebuild on next start");
}

void AudioRecorder::onEvent(const SessionEvent& event) {
  SessionEvent copy = event;
  loop_.post(guarded([this, copy] {
    switch (copy.kind) {
      case SessionEvent::Kind::runtimeError:
        kLog.error("capture runtime error: " + (copy.detail.empty() ? std::string("unknown") : copy.detail));
        invalidate("runtime error");
        break;
      case SessionEvent::Kind::interrupted: invalidate("session interrupted"); break;
      case SessionEvent::Kind::systemWake: invalidate("system wake"); break;
    }
  }));
}

// ---- WAV ----

Result<std::optional<std::filesystem::path>, RecorderError> AudioRecorder::writeWAV(
    const CapturedAudio& captured) {
  return murvelo::writeWAV(captured, Paths::tempAudioDir());
}

}  // namespace murvelo
