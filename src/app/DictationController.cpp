#include "app/DictationController.h"

#include "app/AppSettings.h"
#include "audio/CaptureLifecycle.h"
#include "audio/Recorder.h"
#include "base/Diagnostics.h"
#include "base/Log.h"
#include "speech/SpeechService.h"

namespace murvelo {
namespace {

const Logger kLog("controller");

std::string boolText(bool value) { return value ? "true" : "false"; }

std::string describe(RecorderError error) {
  switch (error) {
    case RecorderError::noMicrophone: return "No microphone is available.";
    case RecorderError::couldNotBuildBuffer: return "The audio buffer could not be created.";
    case RecorderError::conversionFailed: return "The audio could not be converted.";
    case RecorderError::fileError: return "The audio file could not be written.";
  }
  return "The microphone failed.";
}

}  // namespace

DictationController::DictationController(DictationServices services) : services_(services) {
  if (services_.capture) {
    std::weak_ptr<int> alive = alive_;
    MainLoop& loop = services_.loop;
    services_.capture->setStopSettledHandler(
        [alive, &loop, this](std::int64_t generation, std::int64_t stopMs) {
          loop.post([alive, this, generation, stopMs] {
            if (alive.lock()) captureSettled(generation, stopMs);
          });
        });
  }
}

DictationController::~DictationController() {
  if (services_.capture) services_.capture->setStopSettledHandler(nullptr);
}

void DictationController::setStatus(DictationStatus status) {
  if (status == status_) return;
  status_ = std::move(status);
  if (statusObserver_) statusObserver_(status_, microphoneReady_);
}

void DictationController::flash(std::string_view text, notices::Delay delay) {
  std::int64_t epoch = ++flashEpoch_;
  setStatus(DictationStatus::message(std::string(text)));
  services_.loop.postAfter(delay, guarded([this, epoch] {
                             if (flashEpoch_ == epoch && status_.is(DictationStatus::Kind::message))
                               setStatus(DictationStatus::idle());
                           }));
}

void DictationController::prewarm() {
  std::weak_ptr<int> alive = alive_;
  services_.speech.prepare([alive](Status status) {
    if (!alive.lock()) return;
    if (status)
      kLog.info("speech engine prepared");
    else
      kLog.warning("speech engine not prepared: " + status.message());
  });
}

// ---- key-down and begin ----

void DictationController::keyDown() {
  if (status_.is(DictationStatus::Kind::recording)) return;
  if (!recordStartPending_) pendingRequestedAt_ = services_.loop.now();
  if (!sttHeld_ && inflightRuns_.size() < kMaxInflight) {
    beginRecording();
    return;
  }
  recordStartPending_ = true;
  Diagnostics::shared().record("controller", "begin-deferred",
                               "inflight=" + std::to_string(inflightRuns_.size()));
  kLog.info("beginRecording deferred sttHeld=" + boolText(sttHeld_) +
            " inflight=" + std::to_string(inflightRuns_.size()));
}

void DictationController::drainDeferredBegin() {
  sttHeld_ = false;
  if (!recordStartPending_) return;
  if (isTalkKeyDown_ && isTalkKeyDown_()) {
    if (inflightRuns_.size() > 1) return;
    if (status_.is(DictationStatus::Kind::recording)) return;
    kLog.info("deferred begin consuming — key still down");
    beginRecording();
    return;
  }
  recordStartPending_ = false;
  pendingRequestedAt_.reset();
  kLog.info("deferred begin dropped — key already up when mic freed");
}

void DictationController::beginRecording() {
  bool authorized = services_.capture ? services_.capture->microphoneAuthorized() : true;
  kLog.info("beginRecording micAuthorized=" + boolText(authorized) +
            " inflight=" + std::to_string(inflightRuns_.size()));
  recordStartPending_ = false;
  recordingUsedDictationEngine_ = services_.settings.useDictationEngine();

  std::int64_t generation = ++recordingGeneration_;
  sawAudio_ = false;
  probeFired_ = false;
  microphoneReady_ = false;
  std::weak_ptr<int> alive = alive_;
  MainLoop& loop = services_.loop;
  auto started = services_.recorder.start([alive, &loop, this, generation] {
    loop.post([alive, this, generation] {
      if (alive.lock()) firstAudio(generation);
    });
  });

  if (!started.ok()) {
    sttHeld_ = false;
    pendingRequestedAt_.reset();
    kLog.error("mic start FAILED: " + describe(started.error()));
    Diagnostics::shared().record("controller", "mic-start-failed",
                                 std::to_string(static_cast<int>(started.error())));
    bool automatic = services_.settings.microphoneSelection().kind() != MicrophoneSelection::Kind::device;
    if (automatic)
      flash(notices::kMicUnreachable, notices::kShort);
    else
      flash(notices::kSelectedMicUnavailable, notices::kMicrophoneProblem);
    return;
  }

  if (recordingUsedDictationEngine_) {
    std::string device = services_.recorder.facts().deviceID;
    if (device != streamedDevice_) services_.speech.useMicrophone(device);
    streamedDevice_ = device;
    services_.speech.startStreaming(started.value());
  }
  recordingStartedAt_ = services_.loop.now();
  setStatus(DictationStatus::recording());
  kLog.info("recording started");
  probeTimer_ =
      services_.loop.postAfter(kNoAudioProbe, guarded([this, generation] { noAudioProbe(generation); }));
}

void DictationController::firstAudio(std::int64_t generation) {
  if (generation != recordingGeneration_) return;
  sawAudio_ = true;
  if (microphoneReady_) return;
  microphoneReady_ = true;
  if (statusObserver_) statusObserver_(status_, microphoneReady_);
}

void DictationController::noAudioProbe(std::int64_t generation) {
  if (generation != recordingGeneration_ || !status_.is(DictationStatus::Kind::recording) || probeFired_ ||
      sawAudio_)
    return;
  probeFired_ = true;
  cancelRecording();
  flash(notices::kNoAudio, notices::kMicrophoneProblem);
}

// Ends the current capture without a run.
void DictationController::cancelRecording() {
  services_.recorder.cancel();
  services_.recorder.stopSession(false);
  recordingStartedAt_.reset();
  pendingRequestedAt_.reset();
  services_.loop.cancel(probeTimer_);
  if (recordingUsedDictationEngine_) {
    // The engine is busy until its session is torn down; a start meanwhile waits for it.
    sttHeld_ = true;
    services_.loop.post(guarded([this] {
      services_.speech.cancelStreaming();
      drainDeferredBegin();
    }));
  }
}

// ---- key-up ----

void DictationController::keyUp() {
  if (!status_.is(DictationStatus::Kind::recording)) {
    if (recordStartPending_) {
      recordStartPending_ = false;
      pendingRequestedAt_.reset();
      kLog.info("deferred begin cancelled — key up before mic free");
    }
    return;
  }
  double held = recordingStartedAt_
                    ? std::chrono::duration<double>(services_.loop.now() - *recordingStartedAt_).count()
                    : std::numeric_limits<double>::max();
  if (held < std::chrono::duration<double>(kShortTap).count()) {
    cancelRecording();
    setStatus(inflightRuns_.empty() ? DictationStatus::idle() : DictationStatus::transcribing());
    kLog.info("ignored short tap (" + std::to_string(static_cast<std::int64_t>(held * 1000)) + "ms)");
    return;
  }
  startRun(held);
}

void DictationController::startRun(double heldSeconds) {
  services_.loop.cancel(probeTimer_);
  processing_ = true;
  std::int64_t number = ++runID_;
  // Counted in flight before anyone is told it is transcribing.
  inflightRuns_.insert(number);
  setStatus(DictationStatus::transcribing());

  Run& run = runs_[number];
  run.number = number;
  run.heldSeconds = heldSeconds;
  run.usedStreaming = recordingUsedDictationEngine_;
  run.level = services_.settings.cleanupLevel();
  run.releasedAt = services_.loop.now();
  stage(run, "begin");
  // The capture ends now, before anything else can start a new one.
  run.audio = services_.recorder.stop();
  run.facts = services_.recorder.facts();
  if (services_.capture) runCaptureGeneration_ = services_.capture->captureGeneration();
  services_.recorder.stopSession(false);
  recordingStartedAt_.reset();
  pendingRequestedAt_.reset();

  services_.loop.post(guarded([this, number] { finalize(number); }));
  run.watchdog = services_.loop.postAfter(kWatchdog, guarded([this, number] { watchdogFired(number); }));
}

// ---- watchdog and settling ----

void DictationController::watchdogFired(std::int64_t number) {
  if (!inflightRuns_.count(number) || cancelledRuns_.count(number)) return;
  kLog.error("pipeline watchdog fired after " + std::to_string(kWatchdog.count()) + "s — force-reset (run " +
             std::to_string(number) + ")");
  if (Run* run = findRun(number)) {
    auto ageMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(services_.loop.now() - run->releasedAt);
    Diagnostics::shared().record("controller", "watchdog-reset",
                                 "run=" + std::to_string(number) + " ageMs=" + std::to_string(ageMs.count()) +
                                     " stage=" + (traces_[number].empty() ? "" : traces_[number].back()));
  }
  cancelledRuns_.insert(number);
  inflightRuns_.erase(number);
  // Whatever the run still gets is discarded; its audio need not wait for a result that may
  // never come.
  if (Run* run = findRun(number)) run->audio = CapturedAudio{};
  drainDeferredBegin();
  processing_ = !inflightRuns_.empty();
  if (inflightRuns_.empty() && !status_.is(DictationStatus::Kind::recording))
    flash(notices::kStuck, notices::kShort);
  drainPasteQueue();  // a later run may have been waiting behind this one
}

void DictationController::captureSettled(std::int64_t generation, std::int64_t stopMs) {
  if (!services_.capture) return;
  if (services_.capture->captureGeneration() != generation) {
    kLog.info("capture settled after a newer start — snapshot skipped");
    return;
  }
  kLog.info("capture settled stop=" + std::to_string(stopMs) + "ms");
  if (generation != runCaptureGeneration_) {
    // A cancelled capture (a short tap, no audio) says nothing about how fast the microphone starts.
    kLog.info("capture settled without a run — snapshot skipped");
    return;
  }
  RecorderFacts facts = services_.recorder.facts();
  if (!facts.deviceID.empty()) services_.settings.recordMicrophoneStartup(facts.deviceID, facts.startupMs);
}

// ---- shared helpers ----

bool DictationController::isLive(std::int64_t run) const {
  return inflightRuns_.count(run) && !cancelledRuns_.count(run);
}

DictationController::Run* DictationController::findRun(std::int64_t run) {
  auto found = runs_.find(run);
  return found == runs_.end() ? nullptr : &found->second;
}

void DictationController::stage(Run& run, const char* name) {
  constexpr std::size_t kKeptTraces = 16;
  traces_[run.number].emplace_back(name);
  while (traces_.size() > kKeptTraces) traces_.erase(traces_.begin());
  Diagnostics::shared().record("controller", "stage", "run=" + std::to_string(run.number) + " " + name);
}

std::vector<std::string> DictationController::stageTrace(std::int64_t run) const {
  auto found = traces_.find(run);
  return found == traces_.end() ? std::vector<std::string>{} : found->second;
}

bool DictationController::showHint(const Run& run) {
  if (!run.hint || !run.hint->claim(services_.defaults)) return false;
  flash(run.hint->text, notices::kMicrophoneProblem);
  return true;
}

}  // namespace murvelo
