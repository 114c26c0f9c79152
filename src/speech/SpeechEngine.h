#pragma once

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/MainLoop.h"
#include "speech/Recognizer.h"
#include "speech/SpeechService.h"
#include "speech/StreamingFinalizationCoordinator.h"

namespace murvelo {

// The speech engine over one recogniser back-end: a streaming path fed from the capture's live
// buffers while the talk key is held, and a file path for the WAV fallback. Finishing a stream is
// raced against 3 s by the finalisation coordinator; a stream that loses stays quarantined and
// later dictations go straight to the file until it exits. Called on the main loop only; the
// analysis runs on threads of its own and every answer is posted back to the loop.
class SpeechEngine : public SpeechService {
 public:
  static constexpr std::chrono::seconds kFinalizeLimit{3};
  static constexpr double kWarmUpSampleRate = 16000;
  static constexpr int kWarmUpFrames = 4800;  // 0.3 s of silence

  // `timer` decides the finalisation race and must outlive the engine; `tempDir` receives the
  // warm-up file.
  SpeechEngine(MainLoop& loop, Timer& timer, std::shared_ptr<Recognizer> recognizer,
               std::filesystem::path tempDir);
  // Waits a short while for analyses still running, then leaves them to finish on their own.
  ~SpeechEngine() override;
  SpeechEngine(const SpeechEngine&) = delete;
  SpeechEngine& operator=(const SpeechEngine&) = delete;

  void prepare(std::function<void(Status)> done) override;
  // Transcribes a short silent file once, so the first dictation finds the model loaded.
  void warmUp(std::function<void(Status)> done);
  void startStreaming(std::shared_ptr<LiveBufferStream> buffers) override;
  void finishStreaming(std::function<void(std::optional<std::string>)> done) override;
  void cancelStreaming() override;
  void useMicrophone(const std::string& deviceID) override;
  void transcribe(const std::filesystem::path& file,
                  std::function<void(Result<std::string, SpeechError>)> done) override;
  bool streamingSkippedForQuarantine() const override { return streamingSkippedForQuarantine_; }

  const Recognizer& recognizer() const { return *recognizer_; }
  // Analyses from now on use `recognizer`; those already running finish with the one they began
  // with, and their answers still arrive. Its assets load at the next analysis (or warm-up); it
  // hears of the microphone in use at once.
  void setRecognizer(std::shared_ptr<Recognizer> recognizer);
  StreamingFinalizationCoordinator& finalization() { return finalization_; }
  // Blocks until no analysis of this engine is running, or `limit` passes; true when idle.
  bool waitUntilIdle(std::chrono::milliseconds limit);

  struct Shared;
  struct StreamTask;

 private:
  MainLoop& loop_;
  std::shared_ptr<Recognizer> recognizer_;
  std::filesystem::path tempDir_;
  std::shared_ptr<Shared> shared_;
  std::vector<std::shared_ptr<Shared>> retired_;  // of earlier recognisers, until the engine goes
  StreamingFinalizationCoordinator finalization_;
  // One entry per startStreaming, oldest first; none where no session was opened.
  std::deque<std::shared_ptr<StreamTask>> streams_;
  bool streamingSkippedForQuarantine_ = false;
  std::optional<std::string> microphone_;  // the last one named, for a recogniser that comes later
};

}  // namespace murvelo
