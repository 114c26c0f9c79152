#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

#include "speech/Recognizer.h"

struct whisper_context;
struct whisper_state;

namespace murvelo {

// Recognition with whisper.cpp. Streaming sessions decode the audio captured so far in pieces on
// a worker of their own while the talk key is held, so that after key-up only the last piece is
// left. Each piece is decoded with dictation settings: English, no timestamps, a token budget in
// proportion to its length (a confused model cannot loop), blank and non-speech tokens
// suppressed, and an encoder window no longer than the audio. Recordings without speech give no
// text at all.
class WhisperRecognizer : public Recognizer {
 public:
  static constexpr double kSampleRate = 16000;

  // Threads: $MURVELO_WHISPER_THREADS, else one less than the machine's cores (at least one).
  static int defaultThreads();

  WhisperRecognizer(std::filesystem::path model, int threads);
  ~WhisperRecognizer() override;
  WhisperRecognizer(const WhisperRecognizer&) = delete;
  WhisperRecognizer& operator=(const WhisperRecognizer&) = delete;

  std::string name() const override { return "whisper"; }
  // Checks the file's structure, then loads it. A bad file is an error, never a crash.
  Status ensureAssets() override;
  double analysisSampleRate() const override { return kSampleRate; }
  Result<std::unique_ptr<RecognitionSession>, std::string> makeSession(Mode mode,
                                                                       ResultHandler onResult) override;

  const std::filesystem::path& model() const { return model_; }

  // Decodes one piece of audio on `state` after `prompt` (the text before it); `abort` stops it
  // early when it turns true.
  Status decode(whisper_state* state, std::span<const float> samples, const std::atomic<bool>* abort,
                const std::string& prompt, std::string& text);
  // Told the sample range of every piece a session cuts (for the check that pieces neither
  // overlap nor leave gaps).
  void setPieceObserver(std::function<void(std::size_t start, std::size_t end)> observer);
  void notePiece(std::size_t start, std::size_t end);
  whisper_state* acquireState();
  void releaseState(whisper_state* state);

 private:
  std::filesystem::path model_;
  int threads_;
  std::mutex mutex_;
  whisper_context* context_ = nullptr;
  bool multilingual_ = false;
  std::vector<whisper_state*> idleStates_;
  std::function<void(std::size_t, std::size_t)> pieceObserver_;
};

}  // namespace murvelo
