#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/DeviceHint.h"
#include "app/DictationStatus.h"
#include "app/Notices.h"
#include "app/PasteQueue.h"
#include "app/SettingsValues.h"
#include "audio/CapturedAudio.h"
#include "audio/MicrophoneReadiness.h"
#include "audio/Recorder.h"
#include "base/MainLoop.h"
#include "cleanup/FormatEdit.h"
#include "delivery/CursorContext.h"
#include "delivery/TextInserter.h"
#include "hotkey/HotkeyListener.h"

namespace murvelo {

class AppSettings;
class CaptureLifecycle;
class CursorContextReader;
class DefaultsStore;
class HistoryStore;
class SpeechService;
class TranscriptCleaner;

// Everything the controller drives. All references must outlive the controller; `capture` may
// be null when the recorder reports no settling.
struct DictationServices {
  MainLoop& loop;
  Recorder& recorder;
  SpeechService& speech;
  CursorContextReader& cursor;
  TextInserter& inserter;
  TranscriptCleaner& cleaner;
  HistoryStore& history;
  AppSettings& settings;
  DefaultsStore& defaults;
  CaptureLifecycle* capture = nullptr;
};

// Drives every dictation from key-down to delivered text: starts and stops the microphone,
// numbers each released recording ("run"), keeps at most two runs in flight, turns each run's
// transcript into text and delivers finished runs in order. Main loop only.
class DictationController : public DictationKeyTarget {
 public:
  using Duration = MainLoop::Duration;
  static constexpr std::chrono::milliseconds kShortTap{180};
  static constexpr std::chrono::seconds kWatchdog{18};
  static constexpr std::chrono::seconds kFileTranscriptionLimit{7};
  static constexpr std::chrono::seconds kNoAudioProbe{3};
  static constexpr std::size_t kMaxInflight = 2;

  explicit DictationController(DictationServices services);
  ~DictationController() override;
  DictationController(const DictationController&) = delete;
  DictationController& operator=(const DictationController&) = delete;

  // Readies the speech engine ahead of the first dictation.
  void prewarm();

  void keyDown() override;
  void keyUp() override;
  bool isRecording() const override { return status_.is(DictationStatus::Kind::recording); }

  // Asks the talk-key listener whether the key is physically down now.
  void setTalkKeyQuery(std::function<bool()> isTalkKeyDown) { isTalkKeyDown_ = std::move(isTalkKeyDown); }

  using StatusObserver = std::function<void(const DictationStatus& status, bool microphoneReady)>;
  // Told on every change of the status or of the microphone's readiness.
  void setStatusObserver(StatusObserver observer) { statusObserver_ = std::move(observer); }

  const DictationStatus& status() const { return status_; }
  bool microphoneReady() const { return microphoneReady_; }
  MicrophoneReadiness microphoneReadiness() const {
    return {recordingGeneration_, isRecording(), microphoneReady_};
  }
  bool processing() const { return processing_; }
  std::int64_t runID() const { return runID_; }
  const std::set<std::int64_t>& inflightRuns() const { return inflightRuns_; }
  bool recordStartPending() const { return recordStartPending_; }
  std::int64_t flashEpoch() const { return flashEpoch_; }
  std::optional<TextInserter::Outcome> lastOutcome() const { return lastOutcome_; }
  // The stages a run has passed, in order, for the latest runs; empty for an unknown run.
  std::vector<std::string> stageTrace(std::int64_t run) const;

 private:
  struct Run {
    std::int64_t number = 0;
    double heldSeconds = 0;
    bool usedStreaming = false;
    CleanupLevel level = CleanupLevel::light;
    MainLoop::TimePoint releasedAt;
    CapturedAudio audio;
    RecorderFacts facts;  // of the run's own capture, whatever starts after it
    std::string raw;
    std::string working;
    CursorContext cursor;
    std::optional<DeviceHint> hint;
    MainLoop::TimerId watchdog = 0;
    MainLoop::TimerId fileLimit = 0;
    bool awaitingFile = false;
  };

  // Run lifecycle.
  void beginRecording();
  void drainDeferredBegin();
  void cancelRecording();
  void startRun(double heldSeconds);
  void watchdogFired(std::int64_t run);
  void noAudioProbe(std::int64_t generation);
  void firstAudio(std::int64_t generation);
  void captureSettled(std::int64_t generation, std::int64_t stopMs);

  // Transcript to text.
  void finalize(std::int64_t run);
  void streamingAnswered(std::int64_t run, std::optional<std::string> text);
  void fileFallback(std::int64_t run, const std::string& reason);
  void fileAnswered(std::int64_t run, std::string text);
  void noWords(std::int64_t run);
  void haveTranscript(std::int64_t run);
  void contextRead(std::int64_t run, CursorContext context);
  void drainPasteQueue();
  void delivered(std::int64_t run, TextInserter::Outcome outcome, const std::string& payload);
  void finishRun(std::int64_t run);

  // Shared helpers.
  bool isLive(std::int64_t run) const;
  Run* findRun(std::int64_t run);
  void stage(Run& run, const char* name);
  void setStatus(DictationStatus status);
  void flash(std::string_view text, notices::Delay delay);
  bool showHint(const Run& run);
  // Wraps a delayed job so it does nothing once the controller is gone.
  template <typename F>
  std::function<void()> guarded(F job) {
    std::weak_ptr<int> alive = alive_;
    return [alive, job = std::move(job)]() mutable {
      if (alive.lock()) job();
    };
  }

  DictationServices services_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
  std::function<bool()> isTalkKeyDown_;
  StatusObserver statusObserver_;

  DictationStatus status_;
  bool microphoneReady_ = false;
  std::optional<TextInserter::Outcome> lastOutcome_;
  bool processing_ = false;
  std::int64_t runID_ = 0;
  std::set<std::int64_t> inflightRuns_;
  std::set<std::int64_t> cancelledRuns_;
  bool sttHeld_ = false;
  bool recordStartPending_ = false;
  std::optional<MainLoop::TimePoint> pendingRequestedAt_;
  std::int64_t flashEpoch_ = 0;
  PasteQueue pasteQueue_;
  bool drainingPaste_ = false;
  std::optional<MainLoop::TimePoint> recordingStartedAt_;
  // The capture a run stopped last: only its settling feeds the microphone's startup history.
  std::int64_t runCaptureGeneration_ = -1;
  bool recordingUsedDictationEngine_ = false;
  std::optional<std::string> streamedDevice_;  // the microphone of the last streaming session

  std::int64_t recordingGeneration_ = 0;  // rises at every started recording
  bool sawAudio_ = false;
  bool probeFired_ = false;
  MainLoop::TimerId probeTimer_ = 0;
  std::map<std::int64_t, Run> runs_;
  std::map<std::int64_t, std::vector<std::string>> traces_;  // the latest runs' stage traces
};

}  // namespace murvelo
