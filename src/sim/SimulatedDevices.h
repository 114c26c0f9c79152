#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/CaptureLifecycle.h"
#include "audio/Recorder.h"
#include "base/MainLoop.h"
#include "cleanup/TranscriptCleaner.h"
#include "delivery/CursorContextReader.h"
#include "delivery/TextInserter.h"
#include "speech/SpeechService.h"
#include "speech/StreamingFinalizationCoordinator.h"

// Stand-ins for the microphone, the recogniser, the focused field and the clipboard, driven by a
// main loop's clock: what the simulator and the controller's tests run the real controller on.
namespace murvelo::sim {

using Duration = MainLoop::Duration;

// What a recogniser answers, and when; no text means it never answers.
struct ScriptedAnswer {
  std::optional<std::string> text;
  Duration after{};

  static ScriptedAnswer hang() { return {std::nullopt, {}}; }
  static ScriptedAnswer says(std::string text, Duration after) { return {std::move(text), after}; }
};

class SimulatedRecorder : public Recorder, public CaptureLifecycle {
 public:
  static constexpr double kSampleRate = 16000;
  static constexpr std::chrono::milliseconds kBufferLength{100};

  explicit SimulatedRecorder(MainLoop& loop) : loop_(loop) {}

  // Script for the next capture only.
  void failNextStart() { failNext_ = true; }
  void silenceNextCapture() { silentNext_ = true; }
  void nextCaptureFacts(RecorderFacts facts) { nextFacts_ = std::move(facts); }

  Duration firstAudioAfter = std::chrono::milliseconds(60);
  Duration stopSettlesAfter = std::chrono::milliseconds(40);
  bool authorized = true;

  Result<std::shared_ptr<LiveBufferStream>, RecorderError> start(std::function<void()> onFirstAudio) override;
  CapturedAudio stop() override;
  void stopSession(bool immediate) override;
  Result<std::optional<std::filesystem::path>, RecorderError> writeWAV(
      const CapturedAudio& captured) override;
  void invalidate(const std::string&) override {}
  RecorderFacts facts() const override { return facts_; }

  bool microphoneAuthorized() const override { return authorized; }
  std::int64_t captureGeneration() const override { return generation_; }
  void setStopSettledHandler(StopSettled handler) override { settled_ = std::move(handler); }

  int starts() const { return starts_; }
  bool isRecording() const { return recording_; }

 private:
  MainLoop& loop_;
  bool failNext_ = false;
  bool silentNext_ = false;
  std::optional<RecorderFacts> nextFacts_;
  RecorderFacts facts_;
  bool recording_ = false;
  bool silent_ = false;
  MainLoop::TimePoint startedAt_;
  std::int64_t generation_ = 0;
  std::shared_ptr<LiveBufferStream> stream_;
  StopSettled settled_;
  MainLoop::TimerId firstAudioTimer_ = 0;
  int starts_ = 0;
};

// The recogniser. Streaming answers are consumed by finishStreaming, file answers by transcribe,
// each in script order; an unscripted call answers an empty text at once. With a finalisation
// limit, streaming answers race the real coordinator with the engine's 3 s limit.
class SimulatedSpeech : public SpeechService {
 public:
  static constexpr std::chrono::seconds kFinalizeLimit{3};

  explicit SimulatedSpeech(MainLoop& loop) : loop_(loop) {}

  void scriptStream(ScriptedAnswer answer) { streamAnswers_.push_back(std::move(answer)); }
  void scriptFile(ScriptedAnswer answer) { fileAnswers_.push_back(std::move(answer)); }
  void setFinalizeLimit(bool on);
  StreamingFinalizationCoordinator* coordinator() { return coordinator_.get(); }

  void prepare(std::function<void(Status)> done) override;
  void startStreaming(std::shared_ptr<LiveBufferStream> buffers) override;
  void finishStreaming(std::function<void(std::optional<std::string>)> done) override;
  void cancelStreaming() override;
  void useMicrophone(const std::string& deviceID) override { microphones_.push_back(deviceID); }
  void transcribe(const std::filesystem::path& file,
                  std::function<void(Result<std::string, SpeechError>)> done) override;
  bool streamingSkippedForQuarantine() const override { return skipped_; }

  int openSessions() const { return openSessions_; }
  int transcriptions() const { return transcriptions_; }
  // Every microphone the controller named, in order.
  const std::vector<std::string>& microphones() const { return microphones_; }

 private:
  ScriptedAnswer next(std::deque<ScriptedAnswer>& answers);

  MainLoop& loop_;
  std::unique_ptr<StreamingFinalizationCoordinator> coordinator_;
  std::deque<ScriptedAnswer> streamAnswers_;
  std::deque<ScriptedAnswer> fileAnswers_;
  int openSessions_ = 0;
  int transcriptions_ = 0;
  std::vector<std::string> microphones_;
  bool skipped_ = false;
};

class SimulatedCursor : public CursorContextReader {
 public:
  explicit SimulatedCursor(MainLoop& loop) : loop_(loop) {}
  // The text before the cursor; none means the field cannot be read.
  std::optional<std::string> preceding = std::string();
  void read(std::function<void(CursorContext)> done) override;

 private:
  MainLoop& loop_;
};

class SimulatedInserter : public TextInserter {
 public:
  struct Delivery {
    std::string text;
    Outcome outcome;
    std::int64_t run;
  };
  bool pasteDenied = false;
  std::function<void(const Delivery&)> onDeliver;

  Outcome insert(std::string_view text, bool autoPaste, std::int64_t run) override;
  const std::vector<Delivery>& deliveries() const { return deliveries_; }

 private:
  std::vector<Delivery> deliveries_;
};

}  // namespace murvelo::sim
