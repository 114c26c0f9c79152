#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "audio/LiveBufferStream.h"
#include "base/Result.h"
#include "base/Status.h"

namespace murvelo {

enum class SpeechError { notPrepared, recognitionFailed, fileUnreadable };

// The speech engine as the dictation controller sees it. Every answer is delivered on the main
// loop; the engine serialises its own calls and does the heavy work on its own threads.
class SpeechService {
 public:
  virtual ~SpeechService() = default;

  // Makes sure a model is available; `done` gets the result.
  virtual void prepare(std::function<void(Status)> done) = 0;
  // Opens a streaming session over the capture's live buffers; returns at once. When a stuck
  // finaliser is still quarantined no session is opened and the dictation is file-only.
  virtual void startStreaming(std::shared_ptr<LiveBufferStream> buffers) = 0;
  // Finalises the oldest open session, bounded by the engine's own time limit. No text means the
  // caller is to use the file: the session timed out, failed, or was never opened.
  virtual void finishStreaming(std::function<void(std::optional<std::string>)> done) = 0;
  // The microphone the next streaming sessions hear, by its device ID, told whenever it is
  // another one than at the last session.
  virtual void useMicrophone(const std::string& /*deviceID*/) {}
  // Closes the oldest open session without a result (a tap too short to be speech).
  virtual void cancelStreaming() = 0;
  // Recognises a WAV file.
  virtual void transcribe(const std::filesystem::path& file,
                          std::function<void(Result<std::string, SpeechError>)> done) = 0;
  // True when the last startStreaming opened no session because of the quarantine.
  virtual bool streamingSkippedForQuarantine() const = 0;
};

}  // namespace murvelo
